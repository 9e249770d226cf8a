// Bookkeeping shared by the bench's XRL clients, ours (bench_xrl) and XORP's
// (bench/xorp): n round trips with at most `window` in flight, the latency
// of each when one at a time, and the finder's CPU time.  Plain C++ and
// POSIX only, so that both builds include it.

#ifndef BENCH_XRL_ROUND_TRIPS_HH
#define BENCH_XRL_ROUND_TRIPS_HH

#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace bench {

typedef std::chrono::steady_clock Clock;

const uint32_t kWindow = 40;
const char kTarget[] = "bench_target";

inline double
seconds(Clock::time_point a, Clock::time_point b)
{
    return std::chrono::duration<double>(b - a).count();
}

// utime + stime of a process, in clock ticks.
inline long
cpu_ticks(pid_t pid)
{
    char path[64];
    snprintf(path, sizeof(path), "/proc/%d/stat", static_cast<int>(pid));
    FILE* f = fopen(path, "r");
    if (f == NULL)
	return -1;
    char buf[1024];
    size_t n = fread(buf, 1, sizeof(buf) - 1, f);
    fclose(f);
    buf[n] = '\0';
    const char* p = strrchr(buf, ')');
    long ut = 0, st = 0;
    if (p == NULL || sscanf(p + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u "
			    "%*u %ld %ld", &ut, &st) != 2)
	return -1;
    return ut + st;
}

// The client's side of a run: Send is called for each XRL to send (false
// when it could not be sent), answer() for each answer.  One at a time, the
// latency of each call is recorded unless the run is only counted.
class RoundTrips {
public:
    template <class Send>
    void start(uint32_t n, uint32_t window, Send send, bool timed) {
	_n = n;
	_timed = timed && window == 1;
	_sent = _done = _ok = 0;
	_window = window;
	_latency.clear();
	while (_sent < _n && _sent - _done < _window)
	    send_one(send);
    }
    bool finished() const { return _done >= _n; }
    uint32_t ok() const { return _ok; }

    template <class Send>
    void answer(bool good, Send send) {
	_done++;
	if (_timed)
	    _latency.push_back(seconds(_started, Clock::now()));
	if (good)
	    _ok++;
	if (_sent < _n)
	    send_one(send);
    }

    // Latency quantile q of the last one-at-a-time run, in microseconds.
    double latency_us(double q) {
	std::sort(_latency.begin(), _latency.end());
	return _latency.empty() ? 0
	    : _latency[static_cast<size_t>(q * (_latency.size() - 1))] * 1e6;
    }

private:
    template <class Send>
    void send_one(Send send) {
	_sent++;
	if (_timed)
	    _started = Clock::now();
	if (!send())
	    _done++;
    }

    uint32_t		_n = 0, _sent = 0, _done = 0, _ok = 0, _window = 1;
    bool		_timed = false;
    Clock::time_point	_started;
    std::vector<double>	_latency;
};

// What the client role prints: "<rate one at a time> <p50 us> <p99 us>
// <rate 40 in flight> <finder ticks during both>".
template <class Run>
int
client_report(uint32_t n, pid_t finder, Run run, RoundTrips& rt)
{
    long f0 = cpu_ticks(finder);
    Clock::time_point t0 = Clock::now();
    uint32_t ok1 = run(n, 1, true);
    Clock::time_point t1 = Clock::now();
    double p50 = rt.latency_us(0.5), p99 = rt.latency_us(0.99);
    uint32_t okw = run(n * 10, kWindow, false);
    Clock::time_point t2 = Clock::now();
    long f1 = cpu_ticks(finder);
    if (ok1 != n || okw != n * 10)
	return 1;
    printf("%f %f %f %f %ld\n", n / seconds(t0, t1), p50, p99,
	   n * 10 / seconds(t1, t2), f1 - f0);
    return 0;
}

// The loop-turning half of a client, ours or XORP's: D provides send(),
// turn() (one turn of its event loop) and pause() (a short wait on it).
template <class D>
class Driver {
public:
    // Waits until the target is registered and answers, and resolved.
    bool warm_up() {
	for (int i = 0; i < 1000; i++) {
	    if (run(1, 1) == 1)
		return run(2000, kWindow) == 2000;
	    self().pause();
	}
	return false;
    }

    // n round trips, at most `window` in flight; how many succeeded.
    uint32_t run(uint32_t n, uint32_t window, bool timed = false) {
	_rt.start(n, window, [this] { return self().send(); }, timed);
	while (!_rt.finished())
	    self().turn();
	return _rt.ok();
    }

    RoundTrips& rt() { return _rt; }

    // Once the router is ready: warms up, then makes n calls one at a time,
    // only counted, or prints client_report(). 0 when all went well.
    int measure(uint32_t n, pid_t finder, bool report) {
	if (!warm_up())
	    return 1;
	if (!report)
	    return run(n, 1) == n ? 0 : 1;
	return client_report(n, finder,
	    [this](uint32_t k, uint32_t w, bool t) { return run(k, w, t); }, _rt);
    }

protected:
    RoundTrips	_rt;

private:
    D& self() { return static_cast<D&>(*this); }
};

}  // namespace bench

#endif  // BENCH_XRL_ROUND_TRIPS_HH
