// -*- c++ -*-
// EventLoop: the single-threaded heart of a process. Each run() is one turn:
// it waits (when nothing is due) until the next timer or file descriptor
// event, runs at most one expired timer, and calls the callbacks of ready
// descriptors.
#ifndef LIBXORP_EVENTLOOP_HH
#define LIBXORP_EVENTLOOP_HH

#include <poll.h>

#include <memory>
#include <tuple>
#include <vector>

#include "libxorp/callback.hh"
#include "libxorp/clock.hh"
#include "libxorp/task.hh"
#include "libxorp/timer.hh"
#include "libxorp/timeval.hh"

enum IoEventType {
    IOT_READ,        // readable (also end of file, error and hang-up)
    IOT_WRITE,       // writable
    IOT_EXCEPTION,   // out-of-band data
    IOT_ACCEPT,      // listening socket has a connection (as IOT_READ)
    IOT_CONNECT,     // connect() finished (as IOT_WRITE)
    IOT_DISCONNECT,  // peer gone (as IOT_READ)
    IOT_ANY          // for remove_ioevent_cb: every type
};

typedef XorpCallback2<void, int, IoEventType>::RefPtr IoEventCb;

// Set to 0 to ask a process's main loop to end (see setup_dflt_sighandlers).
extern int xorp_do_run;
// SIGTERM, SIGINT, SIGXCPU and SIGXFSZ set xorp_do_run to 0.
void setup_dflt_sighandlers();

class EventLoop {
public:
    // Uses the system's monotonic clock.
    EventLoop();
    // Uses the given clock (not owned; it must outlive the loop).
    explicit EventLoop(ClockBase* clock);
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    void run();

    TimerList& timer_list() { return _timers; }
    void current_time(TimeVal& now) const { _timers.current_time(now); }
    bool timers_pending() const { return !_timers.empty(); }
    size_t timer_list_length() const { return _timers.size(); }
    bool events_pending() const;
    size_t descriptor_count() const;

    XorpTimer new_oneoff_at(const TimeVal& when, const OneoffTimerCallback& cb,
                            int priority = XorpTask::PRIORITY_DEFAULT) {
        return _timers.new_oneoff_at(when, cb, priority);
    }
    XorpTimer new_oneoff_after(const TimeVal& wait, const OneoffTimerCallback& cb,
                               int priority = XorpTask::PRIORITY_DEFAULT) {
        return _timers.new_oneoff_after(wait, cb, priority);
    }
    XorpTimer new_oneoff_after_ms(int ms, const OneoffTimerCallback& cb,
                                  int priority = XorpTask::PRIORITY_DEFAULT) {
        return _timers.new_oneoff_after_ms(ms, cb, priority);
    }
    XorpTimer new_periodic(const TimeVal& wait, const PeriodicTimerCallback& cb,
                           int priority = XorpTask::PRIORITY_DEFAULT) {
        return _timers.new_periodic(wait, cb, priority);
    }
    XorpTimer new_periodic_ms(int ms, const PeriodicTimerCallback& cb,
                              int priority = XorpTask::PRIORITY_DEFAULT) {
        return _timers.new_periodic_ms(ms, cb, priority);
    }
    XorpTimer set_flag_after(const TimeVal& wait, bool* flag, bool to_value = true) {
        return _timers.set_flag_after(wait, flag, to_value);
    }
    XorpTimer new_timer(const BasicTimerCallback& cb) { return _timers.new_timer(cb); }
    void remove_timer(XorpTimer& t) { _timers.remove_timer(t); }

    // Called at the start of every turn, before any wait: for output a
    // layer holds back until the end of its input, so that a handler that
    // turns the loop itself still sends it.  One per loop; null for none.
    void set_turn_hook(void (*hook)()) { _turn_hook = hook; }

    // One callback per (fd, type). False if that pair already has one or the
    // type is IOT_ANY. Ready descriptors are served lowest priority first.
    bool add_ioevent_cb(int fd, IoEventType type, const IoEventCb& cb,
                        int priority = XorpTask::PRIORITY_DEFAULT);
    // False if nothing was registered.
    bool remove_ioevent_cb(int fd, IoEventType type = IOT_ANY);

private:
    static const int kTypes = IOT_ANY;  // IOT_READ .. IOT_DISCONNECT
    struct IoHandler {
        IoEventCb cb;
        int priority;
        uint64_t id;
    };
    // One registered descriptor; _pfds holds its pollfd at the same index.
    struct FdEntry {
        int fd;
        IoHandler h[kTypes];   // h[t].cb empty: none of type t
    };

    // Waits up to `timeout` for descriptor events and serves them.
    // Returns 1 if descriptors were ready, 0 on timeout, -1 if interrupted.
    int poll_and_dispatch(const TimeVal& timeout);
    // The entry of fd, or null.
    FdEntry* entry(int fd);
    // Recomputes the poll events of entry i from its handlers.
    void set_events(size_t i);

    std::unique_ptr<ClockBase> _own_clock;
    ClockBase* _clock;
    TimerList _timers;
    // Registrations change on every message written (a write callback
    // comes and goes), so they are kept where that costs a few stores:
    // entries in no order, the poll set beside them, an index by fd.
    std::vector<FdEntry> _entries;
    std::vector<pollfd> _pfds;
    std::vector<int> _index;  // fd -> index in _entries + 1; 0 for none
    uint64_t _next_id = 0;
    void (*_turn_hook)() = nullptr;
    // Kept between rounds so that a round allocates nothing.
    typedef std::tuple<int, uint64_t, int, IoEventType> Ready;  // priority, id, fd, type
    std::vector<Ready> _spare_ready;
};

#endif  // LIBXORP_EVENTLOOP_HH
