#include "libxorp/clock.hh"

SystemClock::SystemClock()
{
    advance_time();
}

void SystemClock::advance_time()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    _now = TimeVal(ts);
}

void SystemClock::current_time(TimeVal& now)
{
    now = _now;
}

TimeVal VirtualClock::real_wait(const TimeVal& delay)
{
    // With no timer at all only real I/O can wake the loop.
    if (delay == TimeVal::MAXIMUM())
        return delay;
    return TimeVal::ZERO();
}

void VirtualClock::waited(const TimeVal& delay)
{
    if (delay != TimeVal::MAXIMUM())
        _now += delay;
}
