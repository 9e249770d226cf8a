// bench_xrl: XRL round trips between processes, ours beside real XORP's and
// beside the floor of the same machine.
//
// For each placement (finder and target on CPU 0 and the client on CPU 1;
// all three on CPU 0) and each round, measures first the floor: 200-byte
// round trips between two processes over a Unix socket pair, placed as the
// client and the target, each end blocked in read(); then the same pair with
// each end waiting in poll() before it reads, as a process serving many
// descriptors must; then, for each side (ours, and XORP's when given), its
// own finder on a free port (never 19999), a target answering
// common/0.1/get_status and a client: XRL round trips one at a time (rate,
// p50 and p99 latency) and with 40 in flight.  The sides take turns in each
// round, the first one changing from round to round.  Every figure is
// printed with its multiple of that round's floor and ours with its
// multiple of XORP's; medians over the rounds.
//
// Then, with valgrind, the instructions each side's client and target
// execute per call, one at a time: callgrind's total over a run of
// kCountLong calls less that over kCountShort, divided by the difference.
// These do not move with the machine's load.
//
// Usage: bench_xrl [--xorp ROLES FINDER] [rounds [round-trips]]
//   (default 5 rounds, 20000; ROLES is bench/xorp's xorp_bench_roles,
//   FINDER XORP's xorp_finder)

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxipc/finder_server.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_std_router.hh"

#include "round_trips.hh"

namespace {

using bench::Clock;
using bench::kTarget;
using bench::kWindow;
using bench::seconds;

const size_t kFloorBytes = 200;
const uint32_t kCountShort = 2000;
const uint32_t kCountLong = 12000;

void
pin(int cpu)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    sched_setaffinity(0, sizeof(set), &set);
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

// ---- our XRL roles ----

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

class Client : public bench::Driver<Client> {
public:
    Client(EventLoop& e, XrlRouter& r)
	: _e(e), _r(r), _xrl(kTarget, "common/0.1/get_status"),
	  _cb(callback(this, &Client::answered)) {}

private:
    friend class bench::Driver<Client>;
    bool send() { return _r.send(_xrl, _cb); }
    void turn() { _e.run(); }
    void pause() {
	bool t = false;
	XorpTimer w = _e.set_flag_after(TimeVal(0, 10000), &t);
	while (!t)
	    _e.run();
    }
    void answered(const XrlError& err, XrlArgs* args) {
	_rt.answer(err.isOK() && args != NULL && args->size() == 2,
		   [this] { return send(); });
    }

    EventLoop&		_e;
    XrlRouter&		_r;
    Xrl			_xrl;
    XrlSender::Callback	_cb;
};

// Prints what bench::client_report() prints; with !report only makes n
// calls one at a time after the warm-up (for counting instructions).
int
run_client(uint16_t port, uint32_t n, pid_t finder, bool report)
{
    EventLoop e;
    XrlStdRouter r(e, "bench_client", "127.0.0.1", port);
    r.finalize();
    while (!r.ready() && !r.failed())
	e.run();
    Client c(e, r);
    return r.ready() ? c.measure(n, finder, report) : 1;
}

// ---- the orchestrating parent ----

std::string self_exe;

// One side of the comparison: whose finder, target and client.
struct Side {
    const char* name;
    std::string roles;		// program taking --target, --client, --calls
    std::string finder;		// XORP's finder, or empty for our own
};

pid_t
spawn(const std::vector<std::string>& args, int cpu, int out_fd,
      bool quiet = false)
{
    pid_t pid = fork();
    if (pid != 0)
	return pid;
    pin(cpu);
    if (out_fd >= 0)
	dup2(out_fd, 1);
    if (quiet) {
	int null = open("/dev/null", O_WRONLY);
	if (out_fd < 0)
	    dup2(null, 1);
	dup2(null, 2);
    }
    std::vector<char*> argv;
    for (const std::string& a : args)
	argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(NULL);
    execvp(argv[0], argv.data());
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

// A TCP port on 127.0.0.1 free a moment ago (XORP's finder takes -p PORT).
int
free_port()
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a;
    memset(&a, 0, sizeof(a));
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    int port = 0;
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof(a)) == 0
	&& getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) == 0)
	port = ntohs(a.sin_port);
    if (fd >= 0)
	close(fd);
    return port;
}

bool
accepts(int port)
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a;
    memset(&a, 0, sizeof(a));
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(static_cast<uint16_t>(port));
    bool ok = fd >= 0
	&& connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof(a)) == 0;
    if (fd >= 0)
	close(fd);
    return ok;
}

// Starts the side's finder on cpu; its pid, and its port in `port` (0 when
// it did not start).
pid_t
start_finder(const Side& s, int cpu, int& port)
{
    port = 0;
    if (s.finder.empty()) {
	int fp[2];
	if (pipe2(fp, O_CLOEXEC) < 0)
	    return -1;
	pid_t pid = spawn({ self_exe, "--finder" }, cpu, fp[1]);
	close(fp[1]);
	port = atoi(read_all(fp[0]).c_str());
	close(fp[0]);
	return pid;
    }
    int p = free_port();
    pid_t pid = spawn({ s.finder, "-p", std::to_string(p) }, cpu, -1, true);
    for (int i = 0; i < 500 && !accepts(p); i++)
	usleep(10000);
    if (accepts(p))
	port = p;
    return pid;
}

void
stop(pid_t pid, int sig)
{
    if (pid > 0) {
	kill(pid, sig);
	waitpid(pid, NULL, 0);
    }
}

struct Run {
    double rate1, p50, p99, ratew;
    long finder_ticks, finder_kb;
};

// One XRL run of one side in one placement.
bool
measure_xrl(const Side& s, int server_cpu, int client_cpu, uint32_t n,
	    Run& r)
{
    int cp[2];
    if (pipe2(cp, O_CLOEXEC) < 0)
	return false;
    int port = 0;
    pid_t finder = start_finder(s, server_cpu, port);
    bool good = false;
    if (port > 0) {
	pid_t target = spawn({ s.roles, "--target", std::to_string(port) },
			     server_cpu, -1, true);
	pid_t client = spawn({ s.roles, "--client", std::to_string(port),
			       std::to_string(n), std::to_string(finder) },
			     client_cpu, cp[1], !s.finder.empty());
	close(cp[1]);
	std::string out = read_all(cp[0]);
	int status = 0;
	waitpid(client, &status, 0);
	r.finder_kb = rss_kb(finder);
	stop(target, SIGTERM);
	good = WIFEXITED(status) && WEXITSTATUS(status) == 0
	    && sscanf(out.c_str(), "%lf %lf %lf %lf %ld", &r.rate1, &r.p50,
		      &r.p99, &r.ratew, &r.finder_ticks) == 5;
    } else {
	close(cp[1]);
    }
    close(cp[0]);
    stop(finder, SIGKILL);
    return good;
}

// Instructions callgrind counts in one role ("client" or "target") of side
// s over `calls` calls one at a time after the warm-up; -1 on failure.
double
count_instructions(const Side& s, bool client_counted, uint32_t calls,
		   int server_cpu, int client_cpu)
{
    char out[] = "/tmp/bench_xrl.callgrind.XXXXXX";
    int fd = mkstemp(out);
    if (fd < 0)
	return -1;
    close(fd);
    std::vector<std::string> vg = { "valgrind", "--tool=callgrind",
	std::string("--callgrind-out-file=") + out };
    int port = 0;
    pid_t finder = start_finder(s, server_cpu, port);
    double total = -1;
    if (port > 0) {
	std::vector<std::string> t = { s.roles, "--target",
				       std::to_string(port) };
	std::vector<std::string> c = { s.roles, "--calls",
				       std::to_string(port),
				       std::to_string(calls) };
	std::vector<std::string>& counted = client_counted ? c : t;
	counted.insert(counted.begin(), vg.begin(), vg.end());
	pid_t target = spawn(t, server_cpu, -1, true);
	pid_t client = spawn(c, client_cpu, -1, true);
	int status = 0;
	waitpid(client, &status, 0);
	stop(target, SIGTERM);
	FILE* f = fopen(out, "r");
	char line[256];
	long long v = -1;
	while (f != NULL && fgets(line, sizeof(line), f) != NULL)
	    if (sscanf(line, "totals: %lld", &v) == 1)
		break;
	if (f != NULL)
	    fclose(f);
	if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && v > 0)
	    total = static_cast<double>(v);
    }
    stop(finder, SIGKILL);
    unlink(out);
    return total;
}

bool
have_valgrind()
{
    pid_t pid = spawn({ "valgrind", "--version" }, 0, -1, true);
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double
middle(std::vector<double> x)
{
    std::sort(x.begin(), x.end());
    return x.empty() ? 0 : x[x.size() / 2];
}

std::string
grouped(double r)
{
    char buf[32];
    long v = static_cast<long>(r + 0.5);
    if (v >= 1000000)
	snprintf(buf, sizeof(buf), "%ld,%03ld,%03ld", v / 1000000,
		 v / 1000 % 1000, v % 1000);
    else if (v >= 1000)
	snprintf(buf, sizeof(buf), "%ld,%03ld", v / 1000, v % 1000);
    else
	snprintf(buf, sizeof(buf), "%ld", v);
    return buf;
}

std::string
fmt_rate(double r)
{
    return grouped(r) + "/s";
}

struct Round {
    double floor, polled;
    std::vector<Run> runs;	// by side
};

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
			  static_cast<pid_t>(atoi(argv[4])), true);
    if (argc == 4 && strcmp(argv[1], "--calls") == 0)
	return run_client(static_cast<uint16_t>(atoi(argv[2])),
			  static_cast<uint32_t>(atoi(argv[3])), 0, false);

    char exe[4096];
    ssize_t len = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    if (len <= 0)
	return 1;
    self_exe.assign(exe, len);
    std::vector<Side> sides = { { "ours", self_exe, "" } };
    int a = 1;
    if (argc >= 4 && strcmp(argv[1], "--xorp") == 0) {
	sides.push_back({ "XORP", argv[2], argv[3] });
	a = 4;
    }
    int rounds = argc > a ? atoi(argv[a]) : 5;
    uint32_t n = argc > a + 1 ? static_cast<uint32_t>(atoi(argv[a + 1]))
			      : 20000;
    if (rounds <= 0)
	rounds = 5;
    if (n == 0)
	n = 20000;

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

    // Rounds alternate between the placements, and within a round between
    // the sides, the first side changing each round.
    for (int i = 0; i < rounds; i++) {
	for (Placement& p : places) {
	    Round r;
	    r.floor = floor_rate(p.server_cpu, p.client_cpu, n, false);
	    r.polled = floor_rate(p.server_cpu, p.client_cpu, n, true);
	    r.runs.resize(sides.size());
	    bool good = r.floor > 0 && r.polled > 0;
	    for (size_t k = 0; k < sides.size() && good; k++) {
		size_t j = (k + i) % sides.size();
		good = measure_xrl(sides[j], p.server_cpu, p.client_cpu, n,
				   r.runs[j]);
		if (!good)
		    fprintf(stderr, "bench_xrl: a run of %s failed\n",
			    sides[j].name);
	    }
	    if (!good)
		return 1;
	    p.rounds.push_back(r);
	}
    }

    printf("XRL round trips, common/0.1/get_status between two processes,"
	   " straight after one\nresolution through the finder; medians of %d"
	   " rounds; \"x floor\" divides by the rate\nof bare %zu-byte round"
	   " trips over a Unix socket pair in the same round and placement,\n"
	   "each end blocked in read(); \"x poll pair\" by that of the same pair"
	   " waiting in poll();\n\"x XORP\" by real XORP's rate in the same"
	   " round (its finder, target and client,\nSTCP over TCP as ours)."
	   "  (%u one at a time, %u with %u in flight.)\n", rounds, kFloorBytes,
	   n, n * 10, kWindow);
    if (sides.size() == 1)
	printf("No XORP build given: XORP's figures are missing.\n");
    long ticks = 0, kb = 0;
    for (Placement& p : places) {
	std::vector<double> fl, po, xp;
	for (const Round& r : p.rounds) {
	    fl.push_back(r.floor);
	    po.push_back(r.polled);
	    xp.push_back(r.polled / r.floor);
	    ticks = std::max(ticks, r.runs[0].finder_ticks);
	    kb = std::max(kb, r.runs[0].finder_kb);
	}
	printf("\n%s\n", p.name);
	printf("  %-30s %12s  (%.1f us)\n", "floor, socket pair",
	       fmt_rate(middle(fl)).c_str(), 1e6 / middle(fl));
	printf("  %-30s %12s  %5.2f x floor  (%.1f us)\n",
	       "socket pair, poll() before read",
	       fmt_rate(middle(po)).c_str(), middle(xp), 1e6 / middle(po));
	for (int w = 0; w < 2; w++) {
	    for (size_t j = 0; j < sides.size(); j++) {
		std::vector<double> rate, xf, xpp, xx, p50, p99;
		for (const Round& r : p.rounds) {
		    double v = w == 0 ? r.runs[j].rate1 : r.runs[j].ratew;
		    double x = w == 0 ? r.runs.back().rate1
				      : r.runs.back().ratew;
		    rate.push_back(v);
		    xf.push_back(v / r.floor);
		    xpp.push_back(v / r.polled);
		    xx.push_back(v / x);
		    p50.push_back(r.runs[j].p50);
		    p99.push_back(r.runs[j].p99);
		}
		std::string label = std::string(sides[j].name)
		    + (w == 0 ? ", one at a time" : ", 40 in flight");
		printf("  %-30s %12s  %5.2f x floor", label.c_str(),
		       fmt_rate(middle(rate)).c_str(), middle(xf));
		if (j == 0 && sides.size() > 1)
		    printf("  %5.2f x XORP", middle(xx));
		if (w == 0)
		    printf("  %5.2f x poll pair  p50 %.1f us  p99 %.1f us",
			   middle(xpp), middle(p50), middle(p99));
		printf("\n");
	    }
	}
    }
    printf("\nour finder's CPU time during the XRL runs (most of any round):"
	   " %ld ms; its memory after them: %ld kB\n",
	   ticks * 1000 / sysconf(_SC_CLK_TCK), kb);

    if (!have_valgrind()) {
	printf("\nNo valgrind: instructions per call not counted.\n");
	return 0;
    }
    printf("\nInstructions per call, one at a time (callgrind: the total over"
	   " %u calls less\nthat over %u, divided by %u; steady whatever the"
	   " machine's load):\n", kCountLong, kCountShort,
	   kCountLong - kCountShort);
    const Placement& p = places.front();
    for (const Side& s : sides) {
	for (int role = 0; role < 2; role++) {
	    double lo = count_instructions(s, role == 0, kCountShort,
					   p.server_cpu, p.client_cpu);
	    double hi = count_instructions(s, role == 0, kCountLong,
					   p.server_cpu, p.client_cpu);
	    std::string label = std::string(s.name)
		+ (role == 0 ? ", client" : ", target");
	    if (lo < 0 || hi < 0)
		printf("  %-30s %12s\n", label.c_str(), "failed");
	    else
		printf("  %-30s %12s instructions\n", label.c_str(),
		       grouped((hi - lo) / (kCountLong - kCountShort)).c_str());
	}
    }
    return 0;
}
