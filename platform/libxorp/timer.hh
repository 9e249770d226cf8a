// -*- c++ -*-
// Timers. TimerList holds the scheduled timers of one clock; XorpTimer is a
// reference-counted handle on one timer: when the last handle goes (destroyed,
// cleared or assigned over) the timer is unscheduled and deleted, so a
// discarded return value of new_oneoff_after()/new_periodic() never fires.
#ifndef LIBXORP_TIMER_HH
#define LIBXORP_TIMER_HH

#include <cstdint>
#include <map>
#include <set>

#include "libxorp/callback.hh"
#include "libxorp/clock.hh"
#include "libxorp/task.hh"
#include "libxorp/timeval.hh"

class TimerList;
class TimerNode;
class XorpTimer;

typedef XorpCallback0<void>::RefPtr OneoffTimerCallback;
// true = keep running, false = stop.
typedef XorpCallback0<bool>::RefPtr PeriodicTimerCallback;
typedef XorpCallback1<void, XorpTimer&>::RefPtr BasicTimerCallback;

class XorpTimer {
public:
    XorpTimer() : _node(nullptr) {}
    XorpTimer(const XorpTimer& o);
    XorpTimer& operator=(const XorpTimer& o);
    ~XorpTimer();

    // False for an empty handle and for a one-off that has fired.
    bool scheduled() const;
    // Stops the timer; the handle keeps it and may schedule it again.
    void unschedule();
    // Drops this handle (and the timer, if it was the last one).
    void clear();
    // Expiry of the timer; the handle must not be empty.
    const TimeVal& expiry() const;
    // Time until expiry (zero if overdue); false if not scheduled.
    bool time_remaining(TimeVal& remain) const;

    void schedule_now(int priority = XorpTask::PRIORITY_DEFAULT);
    void schedule_at(const TimeVal& when, int priority = XorpTask::PRIORITY_DEFAULT);
    void schedule_after(const TimeVal& wait, int priority = XorpTask::PRIORITY_DEFAULT);
    void schedule_after_ms(int ms, int priority = XorpTask::PRIORITY_DEFAULT);
    // Relative to the previous expiry; the handle must not be empty.
    void reschedule_after(const TimeVal& wait);
    void reschedule_after_ms(int ms);

    bool is_empty() const { return _node == nullptr; }
    int priority() const;
    bool operator==(const XorpTimer& o) const { return _node == o._node; }
    bool operator!=(const XorpTimer& o) const { return _node != o._node; }

private:
    friend class TimerList;
    explicit XorpTimer(TimerNode* n);

    TimerNode* _node;
};

class TimerList {
public:
    // The clock is not owned and must outlive the list.
    explicit TimerList(ClockBase* clock);
    ~TimerList();
    TimerList(const TimerList&) = delete;
    TimerList& operator=(const TimerList&) = delete;

    XorpTimer new_oneoff_at(const TimeVal& when, const OneoffTimerCallback& cb,
                            int priority = XorpTask::PRIORITY_DEFAULT);
    XorpTimer new_oneoff_after(const TimeVal& wait, const OneoffTimerCallback& cb,
                               int priority = XorpTask::PRIORITY_DEFAULT);
    XorpTimer new_oneoff_after_ms(int ms, const OneoffTimerCallback& cb,
                                  int priority = XorpTask::PRIORITY_DEFAULT);
    // First expiry one `wait` after now; then previous expiry + wait.
    XorpTimer new_periodic(const TimeVal& wait, const PeriodicTimerCallback& cb,
                           int priority = XorpTask::PRIORITY_DEFAULT);
    XorpTimer new_periodic_ms(int ms, const PeriodicTimerCallback& cb,
                              int priority = XorpTask::PRIORITY_DEFAULT);
    XorpTimer set_flag_at(const TimeVal& when, bool* flag, bool to_value = true,
                          int priority = XorpTask::PRIORITY_DEFAULT);
    XorpTimer set_flag_after(const TimeVal& wait, bool* flag, bool to_value = true,
                             int priority = XorpTask::PRIORITY_DEFAULT);
    // An unscheduled timer; its callback gets the handle.
    XorpTimer new_timer(const BasicTimerCallback& cb);
    void remove_timer(XorpTimer& t) { t.clear(); }

    // Runs at most one expired timer: the lowest priority number first, then
    // the earliest expiry. Sets errno to 0 just before the callback.
    // Returns true if a timer ran.
    bool run();

    bool empty() const { return _size == 0; }
    size_t size() const { return _size; }
    // Delay until the earliest scheduled timer (zero if overdue). False, with
    // TimeVal::MAXIMUM(), when nothing is scheduled.
    bool get_next_delay(TimeVal& delay) const;
    void current_time(TimeVal& now) const { _clock->current_time(now); }
    void advance_time() { _clock->advance_time(); }
    ClockBase* clock() const { return _clock; }

    static void system_gettimeofday(TimeVal* tv);
    static void system_sleep(const TimeVal& tv);

private:
    friend class TimerNode;
    friend class XorpTimer;

    struct Key {
        TimeVal expiry;
        uint64_t seq;
        TimerNode* node;
        bool operator<(const Key& o) const {
            return expiry < o.expiry || (expiry == o.expiry && seq < o.seq);
        }
    };

    void schedule_node(TimerNode* n, const TimeVal& when, int priority);
    void unschedule_node(TimerNode* n);
    void forget_node(TimerNode* n) { _nodes.erase(n); }
    TimerNode* adopt(TimerNode* n);
    // The earliest expiry of all (TimeVal::MAXIMUM() for none).
    const TimeVal& earliest() const;

    ClockBase* _clock;
    std::map<int, std::set<Key>> _heaps;  // one ordered heap per priority
    std::set<TimerNode*> _nodes;          // every live node, to detach on destruction
    size_t _size = 0;
    uint64_t _seq = 0;
    // earliest(), kept while known: every turn of the loop asks for it,
    // and nearly every turn nothing is due.
    mutable TimeVal _first;
    mutable bool _first_known = false;
};

#endif  // LIBXORP_TIMER_HH
