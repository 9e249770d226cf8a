// bench_load: XRLs against the running daemon from several client processes
// at once, and the daemon's memory meanwhile.
//
// Usage: bench_load CLIENTS TOTAL DAEMON-PID
// A warm-up of a tenth of TOTAL, then the rest, each phase split over CLIENTS
// processes with 40 calls in flight each, alternating common/0.1/get_status
// and login/0.1/get_logging_level (neither runs a command). Prints one line:
//   calls=N failed=F seconds=S rss_warm_kib=W rss_max_kib=M rss_end_kib=E
// where W is VmRSS after the warm-up and M the highest seen after it.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_std_router.hh"

namespace {

const uint32_t kWindow = 40;

class Caller {
public:
    Caller(EventLoop& e, XrlRouter& r, uint32_t n)
        : _e(e), _r(r), _n(n), _cb(callback(this, &Caller::answered)),
          _status("finder://login/common/0.1/get_status"),
          _level("finder://login/login/0.1/get_logging_level") {}

    uint32_t run() {
        while (_sent < _n && _sent - _done < kWindow)
            send_one();
        while (_done < _n)
            _e.run();
        return _failed;
    }

private:
    void send_one() {
        const Xrl& xrl = (_sent++ % 2) ? _level : _status;
        if (!_r.send(xrl, _cb)) {
            _done++;
            _failed++;
        }
    }
    void answered(const XrlError& err, XrlArgs* args) {
        _done++;
        if (!err.isOK() || args == nullptr || args->size() == 0)
            _failed++;
        if (_sent < _n)
            send_one();
    }

    EventLoop& _e;
    XrlRouter& _r;
    uint32_t _n, _sent = 0, _done = 0, _failed = 0;
    XrlSender::Callback _cb;
    Xrl _status, _level;
};

// One client process: exit status 0 when every call was answered.
int client(uint32_t n) {
    EventLoop e;
    XrlStdRouter r(e, "bench_load", "127.0.0.1", uint16_t(19999));
    r.finalize();
    while (!r.ready() && !r.failed())
        e.run();
    if (!r.ready())
        return 1;
    return Caller(e, r, n).run() == 0 ? 0 : 1;
}

long rss_kib(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string word;
    while (status >> word) {
        if (word == "VmRSS:") {
            long kib = 0;
            status >> kib;
            return kib;
        }
    }
    return -1;
}

// Runs `clients` processes of n calls each; returns how many failed, and
// keeps the highest VmRSS of the daemon seen meanwhile in `rss_max`.
uint32_t phase(uint32_t clients, uint32_t n, pid_t daemon, long& rss_max) {
    std::vector<pid_t> pids;
    for (uint32_t i = 0; i < clients; i++) {
        pid_t pid = fork();
        if (pid == 0)
            _exit(client(n));
        pids.push_back(pid);
    }
    uint32_t failed = 0;
    size_t left = pids.size();
    while (left > 0) {
        int status;
        pid_t pid = waitpid(-1, &status, WNOHANG);
        if (pid > 0) {
            left--;
            if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
                failed++;
            continue;
        }
        long rss = rss_kib(daemon);
        if (rss > rss_max)
            rss_max = rss;
        usleep(100000);
    }
    return failed;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        fprintf(stderr, "usage: bench_load CLIENTS TOTAL DAEMON-PID\n");
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    uint32_t clients = static_cast<uint32_t>(atoi(argv[1]));
    uint32_t total = static_cast<uint32_t>(atoi(argv[2]));
    pid_t daemon = atoi(argv[3]);
    uint32_t warm = total / 10 / clients, rest = (total - warm * clients) / clients;

    typedef std::chrono::steady_clock Clock;
    Clock::time_point t0 = Clock::now();
    long ignored = 0;
    uint32_t failed = phase(clients, warm, daemon, ignored);
    long rss_warm = rss_kib(daemon), rss_max = rss_warm;
    failed += phase(clients, rest, daemon, rss_max);
    double seconds = std::chrono::duration<double>(Clock::now() - t0).count();
    printf("calls=%u failed=%u seconds=%.1f rss_warm_kib=%ld rss_max_kib=%ld "
           "rss_end_kib=%ld\n", (warm + rest) * clients, failed, seconds,
           rss_warm, rss_max, rss_kib(daemon));
    return failed == 0 ? 0 : 1;
}
