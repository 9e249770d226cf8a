// bench_load: XRLs against the running daemon from several client processes
// at once, and the daemon's memory meanwhile.
//
// Usage: bench_load CLIENTS TOTAL DAEMON-PID
// CLIENTS processes, each with 40 calls in flight, make a tenth of their
// share as a warm-up and then the rest on the same connections, alternating
// common/0.1/get_status and login/0.1/get_logging_level (neither runs a
// command). Prints one line:
//   calls=N failed=F seconds=S rss_warm_kib=W rss_max_kib=M rss_end_kib=E
// where W is the highest VmRSS seen until every client is through its
// warm-up and M the highest seen after that.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

// One client process: `warm` calls, a byte to `warmed`, then `rest` calls
// on the same connections. Exit status 0 when every call was answered.
int client(uint32_t warm, uint32_t rest, int warmed) {
    EventLoop e;
    XrlStdRouter r(e, "bench_load", "127.0.0.1", uint16_t(19999));
    r.finalize();
    while (!r.ready() && !r.failed())
        e.run();
    if (!r.ready())
        return 1;
    uint32_t failed = Caller(e, r, warm).run();
    if (write(warmed, "w", 1) != 1)
        return 1;
    return failed + Caller(e, r, rest).run() == 0 ? 0 : 1;
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
    uint32_t warm = total / 10 / clients, rest = total / clients - warm;
    int warmed[2];
    if (pipe2(warmed, O_NONBLOCK) != 0)
        return 1;

    typedef std::chrono::steady_clock Clock;
    Clock::time_point t0 = Clock::now();
    for (uint32_t i = 0; i < clients; i++) {
        if (fork() == 0)
            _exit(client(warm, rest, warmed[1]));
    }
    // The highest VmRSS until every client is through its warm-up, then the
    // highest after that.
    uint32_t failed = 0, left = clients, through = 0;
    long rss_warm = 0, rss_max = 0;
    while (left > 0) {
        char c;
        while (read(warmed[0], &c, 1) == 1)
            through++;
        long rss = rss_kib(daemon);
        long& high = through < clients ? rss_warm : rss_max;
        high = std::max(high, rss);
        int status;
        while (waitpid(-1, &status, WNOHANG) > 0) {
            left--;
            failed += !WIFEXITED(status) || WEXITSTATUS(status) != 0;
        }
        usleep(10000);
    }
    double seconds = std::chrono::duration<double>(Clock::now() - t0).count();
    printf("calls=%u failed=%u seconds=%.1f rss_warm_kib=%ld rss_max_kib=%ld "
           "rss_end_kib=%ld\n", (warm + rest) * clients, failed, seconds,
           rss_warm, std::max(rss_max, rss_warm), rss_kib(daemon));
    return failed == 0 ? 0 : 1;
}
