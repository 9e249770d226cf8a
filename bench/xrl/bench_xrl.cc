// bench_xrl: XRL round trips between separate processes through the finder.
//
// Starts its own finder on a free port (never 19999), a target process
// answering common/0.1/get_status and a client process, and measures
// get_status round trips one at a time and with 40 in flight, with the
// processes free to use every CPU and all pinned to one CPU.  Prints the
// rates next to those measured for real XORP.
//
// Usage: bench_xrl [round-trips]      (default 20000 one at a time)

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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

const char kTarget[] = "bench_target";
const uint32_t kWindow = 40;

// ---- child roles ----

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
    for (;;)
	e.run();
}

class Client {
public:
    Client(EventLoop& e, XrlRouter& r)
	: _e(e), _r(r), _xrl(kTarget, "common/0.1/get_status"),
	  _cb(callback(this, &Client::answered)) {}

    // Waits until the target is registered and answers.
    bool warm_up() {
	for (int i = 0; i < 1000; i++) {
	    if (round_trips(1, 1) == 1 && _errors == 0)
		return round_trips(2000, kWindow) == 2000 && _errors == 0;
	    bool t = false;
	    XorpTimer w = _e.set_flag_after(TimeVal(0, 10000), &t);
	    while (!t)
		_e.run();
	}
	return false;
    }

    // Runs n round trips with at most `window` in flight; returns how many
    // succeeded.
    uint32_t round_trips(uint32_t n, uint32_t window) {
	_n = n;
	_sent = _done = _ok = _errors = 0;
	_window = window;
	while (_sent < _n && _sent - _done < _window)
	    send_one();
	while (_done < _n)
	    _e.run();
	return _ok;
    }

    uint32_t errors() const { return _errors; }

private:
    void send_one() {
	_sent++;
	if (!_r.send(_xrl, _cb)) {
	    _done++;
	    _errors++;
	}
    }
    void answered(const XrlError& err, XrlArgs* args) {
	_done++;
	if (err.isOK() && args != NULL && args->size() == 2)
	    _ok++;
	else
	    _errors++;
	if (_sent < _n)
	    send_one();
    }

    EventLoop&		_e;
    XrlRouter&		_r;
    Xrl			_xrl;
    XrlSender::Callback	_cb;
    uint32_t		_n = 0, _sent = 0, _done = 0, _ok = 0, _errors = 0;
    uint32_t		_window = 1;
};

// Prints "<one-at-a-time rate> <windowed rate>" on stdout.
int
run_client(uint16_t port, uint32_t n)
{
    EventLoop e;
    XrlStdRouter r(e, "bench_client", "127.0.0.1", port);
    r.finalize();
    while (!r.ready() && !r.failed())
	e.run();
    Client c(e, r);
    if (!r.ready() || !c.warm_up())
	return 1;
    typedef std::chrono::steady_clock Clock;
    Clock::time_point t0 = Clock::now();
    uint32_t ok1 = c.round_trips(n, 1);
    Clock::time_point t1 = Clock::now();
    uint32_t okw = c.round_trips(n * 10, kWindow);
    Clock::time_point t2 = Clock::now();
    if (ok1 != n || okw != n * 10)
	return 1;
    double s1 = std::chrono::duration<double>(t1 - t0).count();
    double sw = std::chrono::duration<double>(t2 - t1).count();
    printf("%.0f %.0f\n", n / s1, n * 10 / sw);
    return 0;
}

// ---- the orchestrating parent ----

std::string self_exe;

pid_t
spawn(const std::vector<std::string>& args, bool one_cpu, int out_fd)
{
    pid_t pid = fork();
    if (pid != 0)
	return pid;
    if (one_cpu) {
	cpu_set_t set;
	CPU_ZERO(&set);
	CPU_SET(0, &set);
	sched_setaffinity(0, sizeof(set), &set);
    }
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

// Runs one finder, target and client; fills the two rates.
bool
measure(bool one_cpu, uint32_t n, double& rate1, double& ratew)
{
    int fp[2], cp[2];
    if (pipe2(fp, O_CLOEXEC) < 0 || pipe2(cp, O_CLOEXEC) < 0)
	return false;
    pid_t finder = spawn({ self_exe, "--finder" }, one_cpu, fp[1]);
    close(fp[1]);
    std::string port = read_all(fp[0]);
    close(fp[0]);
    int p = atoi(port.c_str());
    bool good = false;
    if (p > 0) {
	pid_t target = spawn({ self_exe, "--target", std::to_string(p) },
			     one_cpu, -1);
	pid_t client = spawn({ self_exe, "--client", std::to_string(p),
			       std::to_string(n) }, one_cpu, cp[1]);
	close(cp[1]);
	std::string out = read_all(cp[0]);
	int status = 0;
	waitpid(client, &status, 0);
	kill(target, SIGKILL);
	waitpid(target, NULL, 0);
	good = WIFEXITED(status) && WEXITSTATUS(status) == 0
	    && sscanf(out.c_str(), "%lf %lf", &rate1, &ratew) == 2;
    } else {
	close(cp[1]);
    }
    close(cp[0]);
    kill(finder, SIGKILL);
    waitpid(finder, NULL, 0);
    return good;
}

std::string
fmt_rate(double r)
{
    char buf[32];
    long v = static_cast<long>(r + 0.5);
    if (v >= 1000)
	snprintf(buf, sizeof(buf), "%ld,%03ld", v / 1000, v % 1000);
    else
	snprintf(buf, sizeof(buf), "%ld", v);
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
    if (argc == 4 && strcmp(argv[1], "--client") == 0)
	return run_client(static_cast<uint16_t>(atoi(argv[2])),
			  static_cast<uint32_t>(atoi(argv[3])));

    uint32_t n = argc > 1 ? static_cast<uint32_t>(atoi(argv[1])) : 20000;
    if (n == 0)
	n = 20000;
    char exe[4096];
    ssize_t len = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    if (len <= 0)
	return 1;
    self_exe.assign(exe, len);

    double free1 = 0, freew = 0, pin1 = 0, pinw = 0;
    bool ok_free = measure(false, n, free1, freew);
    bool ok_pin = measure(true, n, pin1, pinw);
    if (!ok_free || !ok_pin) {
	fprintf(stderr, "bench_xrl: a run failed\n");
	return 1;
    }
    printf("XRL round trips/s, common/0.1/get_status between two processes"
	   " through the finder\n");
    printf("(%u one at a time, %u with %u in flight; real XORP: direct"
	   " process-to-process)\n\n", n, n * 10, kWindow);
    printf("%-34s %14s %16s\n", "case", "this build", "real XORP");
    printf("%-34s %14s %16s\n", "one at a time, any CPU",
	   fmt_rate(free1).c_str(), "~6,500");
    printf("%-34s %14s %16s\n", "one at a time, one shared CPU",
	   fmt_rate(pin1).c_str(), "~31,000");
    printf("%-34s %14s %16s\n", "40 in flight, any CPU",
	   fmt_rate(freew).c_str(), "~200,000");
    printf("%-34s %14s %16s\n", "40 in flight, one shared CPU",
	   fmt_rate(pinw).c_str(), "-");
    return 0;
}
