// -*- c++ -*-
// TimeVal: seconds and microseconds, kept normalised (0 <= usec < 1000000).
#ifndef LIBXORP_TIMEVAL_HH
#define LIBXORP_TIMEVAL_HH

#include <sys/time.h>
#include <time.h>

#include <cstdint>
#include <string>

class TimeVal {
public:
    static const int32_t ONE_MILLION = 1000000;
    static const int32_t ONE_THOUSAND = 1000;

    TimeVal() : _sec(0), _usec(0) {}
    TimeVal(int32_t sec, int32_t usec) : _sec(sec), _usec(usec) { normalize(); }
    explicit TimeVal(const timeval& tv) : TimeVal(tv.tv_sec, tv.tv_usec) {}
    explicit TimeVal(const timespec& ts) : TimeVal(ts.tv_sec, ts.tv_nsec / 1000) {}
    explicit TimeVal(const double& d);

    int32_t sec() const { return _sec; }
    int32_t usec() const { return _usec; }
    int64_t to_ms() const;
    void set_ms(int64_t ms);
    double get_double() const { return _sec + _usec / 1e6; }
    bool is_zero() const { return _sec == 0 && _usec == 0; }
    void copy_out(timeval& tv) const;
    void copy_out(timespec& ts) const;
    // "%d.%06d", e.g. "1.000005".
    std::string str() const;

    bool operator==(const TimeVal& o) const { return _sec == o._sec && _usec == o._usec; }
    bool operator!=(const TimeVal& o) const { return !(*this == o); }
    bool operator<(const TimeVal& o) const {
        return _sec < o._sec || (_sec == o._sec && _usec < o._usec);
    }
    bool operator>(const TimeVal& o) const { return o < *this; }
    bool operator<=(const TimeVal& o) const { return !(o < *this); }
    bool operator>=(const TimeVal& o) const { return !(*this < o); }

    TimeVal& operator+=(const TimeVal& o);
    TimeVal& operator-=(const TimeVal& o);
    TimeVal operator+(const TimeVal& o) const { TimeVal t(*this); return t += o; }
    TimeVal operator-(const TimeVal& o) const { TimeVal t(*this); return t -= o; }
    TimeVal operator-() const { return TimeVal(0, 0) - *this; }
    TimeVal operator*(int n) const;
    TimeVal operator*(unsigned int n) const { return *this * static_cast<int>(n); }
    TimeVal operator*(const double& d) const { return TimeVal(get_double() * d); }
    TimeVal operator/(int n) const;
    TimeVal operator/(unsigned int n) const { return *this / static_cast<int>(n); }
    TimeVal operator/(const double& d) const { return TimeVal(get_double() / d); }

    static const TimeVal& ZERO();
    static const TimeVal& MAXIMUM();
    static const TimeVal& MINIMUM();

private:
    // TimeVal(5) would be ambiguous between seconds and microseconds: refused.
    TimeVal(int) = delete;
    void normalize();

    int32_t _sec;
    int32_t _usec;
};

#endif  // LIBXORP_TIMEVAL_HH
