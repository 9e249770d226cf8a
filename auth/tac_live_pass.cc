// One liveness pass: the ping lines started together, read on the loop, and
// the echo replies that prove a server answered.

#include "core/login_module.h"

#include "auth/tac_live_pass.hh"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/icmp.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

extern char** environ;

// Lines that had not ended when their pass closed them (killed, or still
// exiting); reaped later, never waited for.
static std::vector<pid_t> unreaped;

static void
reap_or_keep(pid_t pid)
{
    if (waitpid(pid, NULL, WNOHANG) == 0)
        unreaped.push_back(pid);
}

static void
reap_earlier()
{
    std::vector<pid_t> left;
    for (pid_t pid : unreaped)
        if (waitpid(pid, NULL, WNOHANG) == 0)
            left.push_back(pid);
    unreaped.swap(left);
}

TacLivePass::TacLivePass(EventLoop& loop,
                         const std::vector<std::string>& servers,
                         const std::function<void()>& done)
    : _loop(loop), _done(done), _probes(servers.size())
{
    reap_earlier();
    for (size_t i = 0; i < servers.size(); ++i) {
        _probes[i].server = servers[i];
        inet_aton(servers[i].c_str(), &_probes[i].address);
    }
    // Listening first, so that no reply is missed.
    if (!_probes.empty() && !listen_for_replies()) {
        char where[8000];
        snprintf(where, 8000, "+%d %s %s", __LINE__, "tac_live_pass.cc",
                 "tac_live");
        xlog_warning("LOGIN", where, "Could not listen for echo replies: %s",
                     strerror(errno));
    }
    for (Probe& probe : _probes)
        tac_ping(probe);
    // Ends the pass from the loop, never inside this constructor.
    bool any = false;
    for (const Probe& probe : _probes)
        any = any || probe.fd >= 0;
    _deadline = _loop.new_oneoff_after(
        any ? TimeVal(BOUND_SECONDS, 0) : TimeVal::ZERO(),
        callback(this, &TacLivePass::deadline));
}

TacLivePass::~TacLivePass()
{
    for (Probe& probe : _probes)
        close_probe(probe, true);
    if (_icmp_fd >= 0) {
        _loop.remove_ioevent_cb(_icmp_fd);
        close(_icmp_fd);
    }
}

std::vector<std::string>
TacLivePass::servers() const
{
    std::vector<std::string> texts;
    for (const Probe& probe : _probes)
        texts.push_back(probe.server);
    return texts;
}

bool
TacLivePass::is_live(const std::string& server) const
{
    for (const Probe& probe : _probes) {
        if (probe.server != server)
            continue;
        int count = 0;
        if (sscanf(probe.output.c_str(), "%d", &count) != 1)
            count = 0;
        return probe.ended && count == 0
               && _answered.count(probe.address.s_addr) != 0;
    }
    return false;
}

// Starts one server's line with its output on a pipe, in a process group of
// its own so that a line past the bound can be killed whole.
bool
TacLivePass::tac_ping(Probe& probe)
{
    std::string command = c_format(
        "ping -c 3 -i 0.2 -w 1 %s|grep '100%% packet loss'|wc -l",
        inet_ntoa(probe.address));
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attr;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawnattr_init(&attr);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attr, 0);
    char sh[] = "sh";
    char dash_c[] = "-c";
    char* argv[] = {sh, dash_c, &command[0], NULL};
    pid_t pid;
    int error = posix_spawn(&pid, "/bin/sh", &actions, &attr, argv, environ);
    posix_spawnattr_destroy(&attr);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        return false;
    }
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    probe.pid = pid;
    probe.fd = ends[0];
    _loop.add_ioevent_cb(probe.fd, IOT_READ,
                         callback(this, &TacLivePass::read_output));
    return true;
}

bool
TacLivePass::listen_for_replies()
{
    _icmp_fd = socket(AF_INET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC,
                      IPPROTO_ICMP);
    if (_icmp_fd < 0)
        return false;
    struct icmp_filter filter;
    filter.data = ~(1U << ICMP_ECHOREPLY);
    setsockopt(_icmp_fd, SOL_RAW, ICMP_FILTER, &filter, sizeof(filter));
    _loop.add_ioevent_cb(_icmp_fd, IOT_READ,
                         callback(this, &TacLivePass::read_replies));
    return true;
}

void
TacLivePass::read_output(int fd, IoEventType)
{
    for (Probe& probe : _probes) {
        if (probe.fd != fd)
            continue;
        char buf[64];
        ssize_t n;
        while ((n = read(fd, buf, sizeof(buf))) > 0)
            if (probe.output.size() < 256)
                probe.output.append(buf, n);
        if (n < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        probe.ended = n == 0;
        close_probe(probe, !probe.ended);
        end_if_done();
        return;
    }
}

void
TacLivePass::read_replies(int fd, IoEventType)
{
    // A bounded number per turn, so that a flood of replies can't hold the loop.
    for (int i = 0; i < 256; ++i) {
        unsigned char packet[128];
        struct sockaddr_in from;
        socklen_t from_len = sizeof(from);
        ssize_t n = recvfrom(fd, packet, sizeof(packet), 0,
                             reinterpret_cast<struct sockaddr*>(&from),
                             &from_len);
        if (n <= 0)
            return;
        // The IPv4 header comes first on a raw socket.
        size_t header = (packet[0] & 0x0f) * 4u;
        if (static_cast<size_t>(n) > header && packet[header] == ICMP_ECHOREPLY)
            _answered.insert(from.sin_addr.s_addr);
    }
}

void
TacLivePass::close_probe(Probe& probe, bool kill_it)
{
    if (probe.fd >= 0) {
        _loop.remove_ioevent_cb(probe.fd);
        close(probe.fd);
        probe.fd = -1;
    }
    if (probe.pid > 0) {
        if (kill_it)
            kill(-probe.pid, SIGKILL);
        reap_or_keep(probe.pid);
        probe.pid = -1;
    }
}

void
TacLivePass::deadline()
{
    for (Probe& probe : _probes)
        close_probe(probe, true);
    end_if_done();
}

void
TacLivePass::end_if_done()
{
    if (!_running)
        return;
    for (const Probe& probe : _probes)
        if (probe.fd >= 0)
            return;
    _deadline.unschedule();
    if (_icmp_fd >= 0) {
        // Replies still queued count too.
        read_replies(_icmp_fd, IOT_READ);
        _loop.remove_ioevent_cb(_icmp_fd);
        close(_icmp_fd);
        _icmp_fd = -1;
    }
    _running = false;
    reap_earlier();
    _done();
}
