// -*- c++ -*-
// Clocks behind TimerList. SystemClock reads the monotonic clock;
// VirtualClock is set by hand, so tests run minutes of timers at once.
#ifndef LIBXORP_CLOCK_HH
#define LIBXORP_CLOCK_HH

#include "libxorp/timeval.hh"

class ClockBase {
public:
    virtual ~ClockBase() = default;
    // Refreshes the time that current_time() reports.
    virtual void advance_time() = 0;
    virtual void current_time(TimeVal& now) = 0;
    // How long the event loop may really block while the next timer is
    // `delay` away (TimeVal::MAXIMUM() = no timer).
    virtual TimeVal real_wait(const TimeVal& delay) { return delay; }
    // Told by the event loop that it waited `delay` and nothing else happened.
    virtual void waited(const TimeVal& delay) { (void)delay; }
};

class SystemClock : public ClockBase {
public:
    SystemClock();
    void advance_time() override;
    void current_time(TimeVal& now) override;

private:
    TimeVal _now;
};

// Time moves only by set_time()/advance(), or when an event loop would block
// waiting for the next timer: then it jumps straight to that timer.
class VirtualClock : public ClockBase {
public:
    explicit VirtualClock(const TimeVal& start = TimeVal(1000, 0)) : _now(start) {}
    void advance_time() override {}
    void current_time(TimeVal& now) override { now = _now; }
    TimeVal real_wait(const TimeVal& delay) override;
    void waited(const TimeVal& delay) override;

    void set_time(const TimeVal& t) { _now = t; }
    void advance(const TimeVal& d) { _now += d; }
    const TimeVal& now() const { return _now; }

private:
    TimeVal _now;
};

#endif  // LIBXORP_CLOCK_HH
