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
    std::vector<pollfd>& pfds = _pfds;
    pfds.clear();
    for (const auto& f : _fds) {
        pollfd p = {f.first, 0, 0};
        for (const auto& h : f.second) {
            if (wants_read(h.first))
                p.events |= POLLIN;
            else if (wants_write(h.first))
                p.events |= POLLOUT;
            else if (h.first == IOT_EXCEPTION)
                p.events |= POLLPRI;
        }
        pfds.push_back(p);
    }

    int saved_errno = errno;
    int n = ::poll(pfds.empty() ? nullptr : pfds.data(), pfds.size(), timeout_ms(timeout));
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
    for (const pollfd& p : pfds) {
        if (p.revents == 0)
            continue;
        const FdHandlers& hs = _fds[p.fd];
        for (const auto& h : hs) {
            bool hit = false;
            if (wants_read(h.first))
                hit = p.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL);
            else if (wants_write(h.first))
                hit = p.revents & (POLLOUT | POLLHUP | POLLERR | POLLNVAL);
            else if (h.first == IOT_EXCEPTION)
                hit = p.revents & (POLLPRI | POLLNVAL);
            if (hit)
                ready.emplace_back(h.second.priority, h.second.id, p.fd, h.first);
        }
    }
    std::sort(ready.begin(), ready.end());

    for (const auto& r : ready) {
        int fd = std::get<2>(r);
        IoEventType type = std::get<3>(r);
        // An earlier callback may have removed or replaced this one.
        auto f = _fds.find(fd);
        if (f == _fds.end())
            continue;
        auto h = f->second.find(type);
        if (h == f->second.end() || h->second.id != std::get<1>(r))
            continue;
        IoEventCb cb = h->second.cb;  // survives a removal inside the callback
        errno = 0;
        cb->dispatch(fd, type);
    }
    _spare_ready.swap(ready);
    return 1;
}

bool EventLoop::add_ioevent_cb(int fd, IoEventType type, const IoEventCb& cb, int priority)
{
    if (type == IOT_ANY || fd < 0 || cb.is_empty())
        return false;
    FdHandlers& hs = _fds[fd];
    if (hs.count(type) != 0)
        return false;
    hs[type] = IoHandler{cb, priority, _next_id++};
    return true;
}

bool EventLoop::remove_ioevent_cb(int fd, IoEventType type)
{
    auto f = _fds.find(fd);
    if (f == _fds.end())
        return false;
    bool removed = false;
    if (type == IOT_ANY) {
        removed = !f->second.empty();
        f->second.clear();
    } else {
        removed = f->second.erase(type) != 0;
    }
    if (f->second.empty())
        _fds.erase(f);
    return removed;
}

bool EventLoop::events_pending() const
{
    TimeVal delay;
    return _timers.get_next_delay(delay) && delay == TimeVal::ZERO();
}

size_t EventLoop::descriptor_count() const
{
    return _fds.size();
}
