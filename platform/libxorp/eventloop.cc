#include "libxorp/eventloop.hh"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <vector>

int xorp_do_run = 1;

namespace {

void dflt_sig_handler(int)
{
    xorp_do_run = 0;
}

bool wants_read(IoEventType t)
{
    return t == IOT_READ || t == IOT_ACCEPT || t == IOT_DISCONNECT;
}

bool wants_write(IoEventType t)
{
    return t == IOT_WRITE || t == IOT_CONNECT;
}

// poll() timeout in ms, rounded up so that a timer is due when poll returns.
int timeout_ms(const TimeVal& t)
{
    if (t == TimeVal::MAXIMUM())
        return -1;
    int64_t us = static_cast<int64_t>(t.sec()) * 1000000 + t.usec();
    if (us <= 0)
        return 0;
    int64_t ms = (us + 999) / 1000;
    return ms > 0x7fffffff ? 0x7fffffff : static_cast<int>(ms);
}

}  // namespace

void setup_dflt_sighandlers()
{
    struct sigaction sa;
    sa.sa_handler = dflt_sig_handler;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;
    for (int sig : {SIGTERM, SIGINT, SIGXCPU, SIGXFSZ})
        sigaction(sig, &sa, nullptr);
}

EventLoop::EventLoop()
    : _own_clock(new SystemClock), _clock(_own_clock.get()), _timers(_clock)
{
    signal(SIGPIPE, SIG_IGN);
}

EventLoop::EventLoop(ClockBase* clock) : _clock(clock), _timers(_clock)
{
    signal(SIGPIPE, SIG_IGN);
}

EventLoop::~EventLoop() = default;

void EventLoop::run()
{
    if (_turn_hook != nullptr)
        _turn_hook();
    _timers.advance_time();
    TimeVal delay;
    _timers.get_next_delay(delay);

    bool polled = false;
    if (delay != TimeVal::ZERO()) {
        // Nothing is due: sleep until the next timer or descriptor event.
        TimeVal wait = _clock->real_wait(delay);
        if (xorp_do_run == 0 && wait > TimeVal(1, 0))
            wait = TimeVal(1, 0);
        int r = poll_and_dispatch(wait);
        if (r == 0)
            _clock->waited(delay);
        polled = true;
    }

    _timers.run();

    if (!polled)
        poll_and_dispatch(TimeVal::ZERO());
}

int EventLoop::poll_and_dispatch(const TimeVal& timeout)
{
    int saved_errno = errno;
    int n = ::poll(_pfds.empty() ? nullptr : _pfds.data(), _pfds.size(), timeout_ms(timeout));
    errno = saved_errno;
    if (n < 0)
        return -1;  // interrupted by a signal
    if (n == 0)
        return 0;

    // Every callback whose condition holds.  A callback may run the loop
    // again, so this round takes the spare list and gives it back after.
    std::vector<Ready> ready;
    ready.swap(_spare_ready);
    ready.clear();
    for (size_t i = 0; i < _pfds.size() && n > 0; i++) {
        const pollfd& p = _pfds[i];
        if (p.revents == 0)
            continue;
        n--;
        const FdEntry& e = _entries[i];
        for (int t = 0; t < kTypes; t++) {
            if (e.h[t].cb.is_empty())
                continue;
            IoEventType type = static_cast<IoEventType>(t);
            bool hit = false;
            if (wants_read(type))
                hit = p.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL);
            else if (wants_write(type))
                hit = p.revents & (POLLOUT | POLLHUP | POLLERR | POLLNVAL);
            else
                hit = p.revents & (POLLPRI | POLLNVAL);
            if (hit)
                ready.emplace_back(e.h[t].priority, e.h[t].id, p.fd, type);
        }
    }
    if (ready.size() > 1)
        std::sort(ready.begin(), ready.end());

    for (const auto& r : ready) {
        int fd = std::get<2>(r);
        IoEventType type = std::get<3>(r);
        // An earlier callback may have removed or replaced this one.
        FdEntry* e = entry(fd);
        if (e == nullptr || e->h[type].cb.is_empty() || e->h[type].id != std::get<1>(r))
            continue;
        IoEventCb cb = e->h[type].cb;  // survives a removal inside the callback
        errno = 0;
        cb->dispatch(fd, type);
    }
    _spare_ready.swap(ready);
    return 1;
}

EventLoop::FdEntry* EventLoop::entry(int fd)
{
    if (fd < 0 || static_cast<size_t>(fd) >= _index.size() || _index[fd] == 0)
        return nullptr;
    return &_entries[_index[fd] - 1];
}

void EventLoop::set_events(size_t i)
{
    short events = 0;
    for (int t = 0; t < kTypes; t++) {
        if (_entries[i].h[t].cb.is_empty())
            continue;
        IoEventType type = static_cast<IoEventType>(t);
        if (wants_read(type))
            events |= POLLIN;
        else if (wants_write(type))
            events |= POLLOUT;
        else
            events |= POLLPRI;
    }
    _pfds[i].events = events;
}

bool EventLoop::add_ioevent_cb(int fd, IoEventType type, const IoEventCb& cb, int priority)
{
    if (type < 0 || type >= kTypes || fd < 0 || cb.is_empty())
        return false;
    FdEntry* e = entry(fd);
    if (e == nullptr) {
        if (static_cast<size_t>(fd) >= _index.size())
            _index.resize(fd + 1, 0);
        _entries.emplace_back();
        _entries.back().fd = fd;
        _pfds.push_back(pollfd{fd, 0, 0});
        _index[fd] = static_cast<int>(_entries.size());
        e = &_entries.back();
    } else if (!e->h[type].cb.is_empty()) {
        return false;
    }
    e->h[type] = IoHandler{cb, priority, _next_id++};
    set_events(_index[fd] - 1);
    return true;
}

bool EventLoop::remove_ioevent_cb(int fd, IoEventType type)
{
    FdEntry* e = entry(fd);
    if (e == nullptr)
        return false;
    bool removed = false;
    bool left = false;
    for (int t = 0; t < kTypes; t++) {
        if (e->h[t].cb.is_empty())
            continue;
        if (type == IOT_ANY || type == t) {
            e->h[t].cb.reset();
            removed = true;
        } else {
            left = true;
        }
    }
    size_t i = _index[fd] - 1;
    if (left) {
        set_events(i);
        return removed;
    }
    // No handler left: the last entry takes this one's place.
    size_t last = _entries.size() - 1;
    if (i != last) {
        _entries[i] = std::move(_entries[last]);
        _pfds[i] = _pfds[last];
        _index[_entries[i].fd] = static_cast<int>(i + 1);
    }
    _entries.pop_back();
    _pfds.pop_back();
    _index[fd] = 0;
    return removed;
}

bool EventLoop::events_pending() const
{
    TimeVal delay;
    return _timers.get_next_delay(delay) && delay == TimeVal::ZERO();
}

size_t EventLoop::descriptor_count() const
{
    return _entries.size();
}
