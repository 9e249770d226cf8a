#include "libxorp/timeval.hh"

#include <climits>
#include <cmath>
#include <cstdio>

TimeVal::TimeVal(const double& d)
{
    double s = std::floor(d);
    _sec = static_cast<int32_t>(s);
    _usec = static_cast<int32_t>(std::lround((d - s) * ONE_MILLION));
    normalize();
}

void TimeVal::normalize()
{
    int64_t total = static_cast<int64_t>(_sec) * ONE_MILLION + _usec;
    int64_t s = total / ONE_MILLION;
    int64_t u = total % ONE_MILLION;
    if (u < 0) {
        u += ONE_MILLION;
        s -= 1;
    }
    _sec = static_cast<int32_t>(s);
    _usec = static_cast<int32_t>(u);
}

int64_t TimeVal::to_ms() const
{
    int64_t us = static_cast<int64_t>(_sec) * ONE_MILLION + _usec;
    int64_t ms = us / ONE_THOUSAND;
    // A positive delay below one millisecond must not become "now".
    if (us > 0 && ms == 0)
        ms = 1;
    return ms;
}

void TimeVal::set_ms(int64_t ms)
{
    _sec = static_cast<int32_t>(ms / ONE_THOUSAND);
    _usec = static_cast<int32_t>((ms % ONE_THOUSAND) * ONE_THOUSAND);
    normalize();
}

void TimeVal::copy_out(timeval& tv) const
{
    tv.tv_sec = _sec;
    tv.tv_usec = _usec;
}

void TimeVal::copy_out(timespec& ts) const
{
    ts.tv_sec = _sec;
    ts.tv_nsec = static_cast<long>(_usec) * 1000;
}

std::string TimeVal::str() const
{
    char buf[32];
    snprintf(buf, sizeof(buf), "%d.%06d", _sec, _usec);
    return buf;
}

TimeVal& TimeVal::operator+=(const TimeVal& o)
{
    _sec += o._sec;
    _usec += o._usec;
    normalize();
    return *this;
}

TimeVal& TimeVal::operator-=(const TimeVal& o)
{
    _sec -= o._sec;
    _usec -= o._usec;
    normalize();
    return *this;
}

TimeVal TimeVal::operator*(int n) const
{
    int64_t us = (static_cast<int64_t>(_sec) * ONE_MILLION + _usec) * n;
    TimeVal t;
    t._sec = static_cast<int32_t>(us / ONE_MILLION);
    t._usec = static_cast<int32_t>(us % ONE_MILLION);
    t.normalize();
    return t;
}

TimeVal TimeVal::operator/(int n) const
{
    int64_t us = (static_cast<int64_t>(_sec) * ONE_MILLION + _usec) / n;
    TimeVal t;
    t._sec = static_cast<int32_t>(us / ONE_MILLION);
    t._usec = static_cast<int32_t>(us % ONE_MILLION);
    t.normalize();
    return t;
}

const TimeVal& TimeVal::ZERO()
{
    static const TimeVal z(0, 0);
    return z;
}

const TimeVal& TimeVal::MAXIMUM()
{
    static const TimeVal m(INT32_MAX, ONE_MILLION - 1);
    return m;
}

const TimeVal& TimeVal::MINIMUM()
{
    static const TimeVal m(INT32_MIN, 0);
    return m;
}
