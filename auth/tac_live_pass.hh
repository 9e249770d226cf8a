// One TACACS+ liveness pass, run on the event loop: the ping line of every
// server is started at once, in the order given, and read as it ends, so a
// pass takes about one ping however many servers there are. A server counts
// as live only when its line counted no "100% packet loss" and an ICMP echo
// reply from it arrived meanwhile: a line that printed nothing (no route,
// no ping) proves nothing.

#ifndef LOGIN_AUTH_TAC_LIVE_PASS_HH
#define LOGIN_AUTH_TAC_LIVE_PASS_HH

#include <sys/types.h>
#include <netinet/in.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"

class TacLivePass {
public:
    // A line still running this long after the start is killed and its
    // server counts as not live.
    static const int BOUND_SECONDS = 5;

    // Starts the probes of `servers` (texts that inet_aton takes, in that
    // order); `done` is called once, from the loop, when every one ended.
    TacLivePass(EventLoop& loop, const std::vector<std::string>& servers,
                const std::function<void()>& done);
    // Kills whatever still runs.
    ~TacLivePass();

    TacLivePass(const TacLivePass&) = delete;
    TacLivePass& operator=(const TacLivePass&) = delete;

    bool running() const { return _running; }
    std::vector<std::string> servers() const;
    // After the end: whether `server` answered.
    bool is_live(const std::string& server) const;

private:
    struct Probe {
        std::string server;
        struct in_addr address;
        pid_t       pid = -1;
        int         fd = -1;
        std::string output;
        bool        ended = false;  // on its own, with its output read
    };

    bool tac_ping(Probe& probe);
    bool listen_for_replies();
    void read_output(int fd, IoEventType type);
    void read_replies(int fd, IoEventType type);
    void close_probe(Probe& probe, bool kill_it);
    void deadline();
    void end_if_done();

    EventLoop&            _loop;
    std::function<void()> _done;
    std::vector<Probe>    _probes;
    int                   _icmp_fd = -1;
    std::set<in_addr_t>   _answered;
    XorpTimer             _deadline;
    bool                  _running = true;
};

#endif // LOGIN_AUTH_TAC_LIVE_PASS_HH
