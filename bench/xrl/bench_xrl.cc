// bench_xrl: XRL round trips between processes, against the floor of the
// same machine.
//
// For each placement (finder and target on CPU 0 and the client on CPU 1;
// all three on CPU 0) and each round, measures first the floor: 200-byte
// round trips between two processes over a Unix socket pair, placed as the
// client and the target, each end blocked in read(); then the same pair with
// each end waiting in poll() before it reads, as a process serving many
// descriptors must, so the cost of that wait shows apart from the cost of
// the XRL layers; then, with its own finder on a free port (never
// 19999), a target answering common/0.1/get_status and a client, XRL round
// trips one at a time (rate, p50 and p99 latency) and with 40 in flight.
// Every XRL figure is printed with its multiple of that round's floor
// (and the one-at-a-time rate also with its multiple of the poll pair);
// medians over the rounds.  Also prints the finder's CPU time during the
// XRL bursts and its memory afterwards.
//
// Usage: bench_xrl [rounds [round-trips]]   (default 5 rounds, 20000)

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxipc/finder_server.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_std_router.hh"

namespace {

typedef std::chrono::steady_clock Clock;

const char kTarget[] = "bench_target";
const uint32_t kWindow = 40;
const size_t kFloorBytes = 200;

void
pin(int cpu)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    sched_setaffinity(0, sizeof(set), &set);
}

double
seconds(Clock::time_point a, Clock::time_point b)
{
    return std::chrono::duration<double>(b - a).count();
}

// utime + stime of a process, in clock ticks.
long
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

long
rss_kb(pid_t pid)
{
    char path[64];
    snprintf(path, sizeof(path), "/proc/%d/status", static_cast<int>(pid));
    FILE* f = fopen(path, "r");
    long kb = -1;
    char line[256];
    while (f != NULL && fgets(line, sizeof(line), f) != NULL)
	if (sscanf(line, "VmRSS: %ld", &kb) == 1)
	    break;
    if (f != NULL)
	fclose(f);
    return kb;
}

// ---- the floor ----

// With polling, a read first waits in poll(), as in any event loop.
bool
full_io(int fd, char* p, size_t n, bool writing, bool polling = false)
{
    while (n > 0) {
	pollfd pfd = { fd, POLLIN, 0 };
	if (polling && !writing && poll(&pfd, 1, -1) < 0)
	    return false;
	ssize_t r = writing ? write(fd, p, n) : read(fd, p, n);
	if (r <= 0)
	    return false;
	p += r;
	n -= static_cast<size_t>(r);
    }
    return true;
}

// Round trips per second of kFloorBytes over a socket pair, the echoing
// end on target_cpu and the timing end on client_cpu; both ends wait in
// blocking reads, or with polling in poll() before each read.
double
floor_rate(int target_cpu, int client_cpu, uint32_t n, bool polling)
{
    int sp[2], res[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sp) < 0 || pipe(res) < 0)
	return 0;
    pid_t echo = fork();
    if (echo == 0) {
	close(sp[0]);
	close(res[0]);
	close(res[1]);
	pin(target_cpu);
	char buf[kFloorBytes];
	while (full_io(sp[1], buf, sizeof(buf), false, polling)
	       && full_io(sp[1], buf, sizeof(buf), true))
	    ;
	_exit(0);
    }
    pid_t timer = fork();
    if (timer == 0) {
	close(sp[1]);
	close(res[0]);
	pin(client_cpu);
	char buf[kFloorBytes];
	memset(buf, 'x', sizeof(buf));
	for (uint32_t i = 0; i < n / 10; i++)	// warm up
	    if (!full_io(sp[0], buf, sizeof(buf), true)
		|| !full_io(sp[0], buf, sizeof(buf), false, polling))
		_exit(1);
	Clock::time_point t0 = Clock::now();
	for (uint32_t i = 0; i < n; i++)
	    if (!full_io(sp[0], buf, sizeof(buf), true)
		|| !full_io(sp[0], buf, sizeof(buf), false, polling))
		_exit(1);
	double rate = n / seconds(t0, Clock::now());
	if (write(res[1], &rate, sizeof(rate)) != sizeof(rate))
	    _exit(1);
	_exit(0);
    }
    close(sp[0]);
    close(sp[1]);
    close(res[1]);
    double rate = 0;
    if (read(res[0], &rate, sizeof(rate)) != sizeof(rate))
	rate = 0;
    close(res[0]);
    waitpid(timer, NULL, 0);
    waitpid(echo, NULL, 0);
    return rate;
}

// ---- XRL roles ----

int
run_finder(int port_fd)
{
    EventLoop e;
    FinderServer finder(e, 0);
    if (!finder.listening())
	return 1;
    char buf[16];
    int n = snprintf(buf, sizeof(buf), "%u\n", unsigned(finder.port()));
    if (write(port_fd, buf, n) != n)
	return 1;
    close(port_fd);
    for (;;)
	e.run();
}

const XrlCmdError
get_status(const XrlArgs&, XrlArgs* out)
{
    out->add("status", uint32_t(3));
    out->add("reason", std::string("Running"));
    return XrlCmdError::OKAY();
}

int
run_target(uint16_t port)
{
    EventLoop e;
    XrlStdRouter r(e, kTarget, "127.0.0.1", port);
    r.add_handler("common/0.1/get_status", callback(&get_status));
    r.finalize();
    setup_dflt_sighandlers();	// SIGTERM ends it, its socket removed
    while (xorp_do_run)
	e.run();
    return 0;
}

class Client {
public:
    Client(EventLoop& e, XrlRouter& r)
	: _e(e), _r(r), _xrl(kTarget, "common/0.1/get_status"),
	  _cb(callback(this, &Client::answered)) {}

    // Waits until the target is registered and answers, and resolved.
    bool warm_up() {
	for (int i = 0; i < 1000; i++) {
	    if (round_trips(1, 1) == 1)
		return round_trips(2000, kWindow) == 2000;
	    bool t = false;
	    XorpTimer w = _e.set_flag_after(TimeVal(0, 10000), &t);
	    while (!t)
		_e.run();
	}
	return false;
    }

    // n round trips, at most `window` in flight; how many succeeded.
    uint32_t round_trips(uint32_t n, uint32_t window) {
	_n = n;
	_sent = _done = _ok = 0;
	_window = window;
	_latency.clear();
	_started.assign(window == 1 ? 1 : 0, Clock::now());
	while (_sent < _n && _sent - _done < _window)
	    send_one();
	while (_done < _n)
	    _e.run();
	return _ok;
    }

    // Latency quantile q of the last one-at-a-time run, in microseconds.
    double latency_us(double q) {
	std::sort(_latency.begin(), _latency.end());
	return _latency.empty() ? 0
	    : _latency[static_cast<size_t>(q * (_latency.size() - 1))] * 1e6;
    }

private:
    void send_one() {
	_sent++;
	if (!_started.empty())
	    _started[0] = Clock::now();
	if (!_r.send(_xrl, _cb))
	    _done++;
    }
    void answered(const XrlError& err, XrlArgs* args) {
	_done++;
	if (!_started.empty())
	    _latency.push_back(seconds(_started[0], Clock::now()));
	if (err.isOK() && args != NULL && args->size() == 2)
	    _ok++;
	if (_sent < _n)
	    send_one();
    }

    EventLoop&		_e;
    XrlRouter&		_r;
    Xrl			_xrl;
    XrlSender::Callback	_cb;
    uint32_t		_n = 0, _sent = 0, _done = 0, _ok = 0, _window = 1;
    std::vector<Clock::time_point> _started;
    std::vector<double>	_latency;
};

// Prints "<rate one at a time> <p50 us> <p99 us> <rate 40 in flight>
// <finder ticks during both>".
int
run_client(uint16_t port, uint32_t n, pid_t finder)
{
    EventLoop e;
    XrlStdRouter r(e, "bench_client", "127.0.0.1", port);
    r.finalize();
    while (!r.ready() && !r.failed())
	e.run();
    Client c(e, r);
    if (!r.ready() || !c.warm_up())
	return 1;
    long f0 = cpu_ticks(finder);
    Clock::time_point t0 = Clock::now();
    uint32_t ok1 = c.round_trips(n, 1);
    Clock::time_point t1 = Clock::now();
    double p50 = c.latency_us(0.5), p99 = c.latency_us(0.99);
    uint32_t okw = c.round_trips(n * 10, kWindow);
    Clock::time_point t2 = Clock::now();
    long f1 = cpu_ticks(finder);
    if (ok1 != n || okw != n * 10)
	return 1;
    printf("%f %f %f %f %ld\n", n / seconds(t0, t1), p50, p99,
	   n * 10 / seconds(t1, t2), f1 - f0);
    return 0;
}

// ---- the orchestrating parent ----

std::string self_exe;

pid_t
spawn(const std::vector<std::string>& args, int cpu, int out_fd)
{
    pid_t pid = fork();
    if (pid != 0)
	return pid;
    pin(cpu);
    if (out_fd >= 0)
	dup2(out_fd, 1);
    std::vector<char*> argv;
    for (const std::string& a : args)
	argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(NULL);
    execv(self_exe.c_str(), argv.data());
    _exit(127);
}

std::string
read_all(int fd)
{
    std::string s;
    char buf[256];
    ssize_t n;
    while ((n = read(fd, buf, sizeof(buf))) > 0)
	s.append(buf, n);
    return s;
}

struct Round {
    double floor, polled, rate1, p50, p99, ratew;
    long finder_ticks, finder_kb;
};

// One round of one placement: the floor, then the XRL runs.
bool
measure(int server_cpu, int client_cpu, uint32_t n, Round& r)
{
    r.floor = floor_rate(server_cpu, client_cpu, n, false);
    r.polled = floor_rate(server_cpu, client_cpu, n, true);
    int fp[2], cp[2];
    if (r.floor <= 0 || r.polled <= 0 || pipe2(fp, O_CLOEXEC) < 0 || pipe2(cp, O_CLOEXEC) < 0)
	return false;
    pid_t finder = spawn({ self_exe, "--finder" }, server_cpu, fp[1]);
    close(fp[1]);
    int port = atoi(read_all(fp[0]).c_str());
    close(fp[0]);
    bool good = false;
    if (port > 0) {
	pid_t target = spawn({ self_exe, "--target", std::to_string(port) },
			     server_cpu, -1);
	pid_t client = spawn({ self_exe, "--client", std::to_string(port),
			       std::to_string(n), std::to_string(finder) },
			     client_cpu, cp[1]);
	close(cp[1]);
	std::string out = read_all(cp[0]);
	int status = 0;
	waitpid(client, &status, 0);
	r.finder_kb = rss_kb(finder);
	kill(target, SIGTERM);
	waitpid(target, NULL, 0);
	good = WIFEXITED(status) && WEXITSTATUS(status) == 0
	    && sscanf(out.c_str(), "%lf %lf %lf %lf %ld", &r.rate1, &r.p50,
		      &r.p99, &r.ratew, &r.finder_ticks) == 5;
    } else {
	close(cp[1]);
    }
    close(cp[0]);
    kill(finder, SIGKILL);
    waitpid(finder, NULL, 0);
    return good;
}

double
median(std::vector<Round>& v, double Round::*field)
{
    std::vector<double> x;
    for (const Round& r : v)
	x.push_back(r.*field);
    std::sort(x.begin(), x.end());
    return x.empty() ? 0 : x[x.size() / 2];
}

double
middle(std::vector<double> x)
{
    std::sort(x.begin(), x.end());
    return x.empty() ? 0 : x[x.size() / 2];
}

std::string
fmt_rate(double r)
{
    char buf[32];
    long v = static_cast<long>(r + 0.5);
    if (v >= 1000000)
	snprintf(buf, sizeof(buf), "%ld,%03ld,%03ld/s", v / 1000000,
		 v / 1000 % 1000, v % 1000);
    else if (v >= 1000)
	snprintf(buf, sizeof(buf), "%ld,%03ld/s", v / 1000, v % 1000);
    else
	snprintf(buf, sizeof(buf), "%ld/s", v);
    return buf;
}

}  // namespace

int
main(int argc, char** argv)
{
    signal(SIGPIPE, SIG_IGN);
    if (argc == 2 && strcmp(argv[1], "--finder") == 0)
	return run_finder(1);
    if (argc == 3 && strcmp(argv[1], "--target") == 0)
	return run_target(static_cast<uint16_t>(atoi(argv[2])));
    if (argc == 5 && strcmp(argv[1], "--client") == 0)
	return run_client(static_cast<uint16_t>(atoi(argv[2])),
			  static_cast<uint32_t>(atoi(argv[3])),
			  static_cast<pid_t>(atoi(argv[4])));

    int rounds = argc > 1 ? atoi(argv[1]) : 5;
    uint32_t n = argc > 2 ? static_cast<uint32_t>(atoi(argv[2])) : 20000;
    if (rounds <= 0)
	rounds = 5;
    if (n == 0)
	n = 20000;
    char exe[4096];
    ssize_t len = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    if (len <= 0)
	return 1;
    self_exe.assign(exe, len);

    struct Placement {
	const char* name;
	int server_cpu, client_cpu;
	std::vector<Round> rounds;
    };
    std::vector<Placement> places;
    cpu_set_t avail;
    if (sched_getaffinity(0, sizeof(avail), &avail) == 0
	&& CPU_ISSET(0, &avail) && CPU_ISSET(1, &avail))
	places.push_back({ "finder and target on CPU 0, client on CPU 1",
			   0, 1, {} });
    places.push_back({ "finder, target and client on CPU 0", 0, 0, {} });

    // Rounds alternate between the placements.
    for (int i = 0; i < rounds; i++) {
	for (Placement& p : places) {
	    Round r;
	    if (!measure(p.server_cpu, p.client_cpu, n, r)) {
		fprintf(stderr, "bench_xrl: a run failed\n");
		return 1;
	    }
	    p.rounds.push_back(r);
	}
    }

    printf("XRL round trips, common/0.1/get_status between two processes,"
	   " straight after one\nresolution through the finder; medians of %d"
	   " rounds; \"x floor\" divides by the rate\nof bare %zu-byte round"
	   " trips over a Unix socket pair in the same round and placement,\n"
	   "each end blocked in read(); \"x poll pair\" by that of the same pair"
	   " waiting in poll().\n(%u one at a time, %u with %u in flight.)\n", rounds, kFloorBytes,
	   n, n * 10, kWindow);
    long ticks = 0, kb = 0;
    for (Placement& p : places) {
	std::vector<double> xp, x1, x1p, xw;
	for (const Round& r : p.rounds) {
	    xp.push_back(r.polled / r.floor);
	    x1.push_back(r.rate1 / r.floor);
	    x1p.push_back(r.rate1 / r.polled);
	    xw.push_back(r.ratew / r.floor);
	    ticks = std::max(ticks, r.finder_ticks);
	    kb = std::max(kb, r.finder_kb);
	}
	double floor = median(p.rounds, &Round::floor);
	double polled = median(p.rounds, &Round::polled);
	printf("\n%s\n", p.name);
	printf("  %-30s %12s  (%.1f us)\n", "floor, socket pair",
	       fmt_rate(floor).c_str(), 1e6 / floor);
	printf("  %-30s %12s  %5.2f x floor  (%.1f us)\n",
	       "socket pair, poll() before read", fmt_rate(polled).c_str(),
	       middle(xp), 1e6 / polled);
	printf("  %-30s %12s  %5.2f x floor  %5.2f x poll pair  p50 %.1f us"
	       "  p99 %.1f us\n", "XRL one at a time",
	       fmt_rate(median(p.rounds, &Round::rate1)).c_str(), middle(x1),
	       middle(x1p), median(p.rounds, &Round::p50),
	       median(p.rounds, &Round::p99));
	printf("  %-30s %12s  %5.2f x floor\n", "XRL 40 in flight",
	       fmt_rate(median(p.rounds, &Round::ratew)).c_str(), middle(xw));
    }
    printf("\nfinder CPU time during the XRL runs (most of any round): %ld ms;"
	   " its memory after them: %ld kB\n", ticks * 1000 / sysconf(_SC_CLK_TCK),
	   kb);
    return 0;
}
