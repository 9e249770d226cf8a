// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/peer_credentials.hh"

#include <grp.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "libxipc/xrl_wire_conn.hh"

namespace {

const char kTrustedGroup[] = "xorp";
// A connection still being set up at the other end is asked about again,
// a bounded number of times.
const int kHalfOpenTries = 50;
const useconds_t kHalfOpenPauseUs = 1000;
// TCP states of sockets that belong to no process (the kernel's numbering).
const uint8_t kTimeWait = 6;
const uint8_t kNewSynRecv = 12;

// One exact look-up of a TCP socket by its four addresses.  1: found, with
// its owner in `uid`; 0: not a socket any process holds; -1: half open, ask
// again.
int
ask_sock_diag(const struct sockaddr_storage& local,
	      const struct sockaddr_storage& remote, uid_t& uid,
	      std::string& why)
{
    struct {
	struct nlmsghdr		nlh;
	struct inet_diag_req_v2	req;
    } msg;
    memset(&msg, 0, sizeof(msg));
    msg.nlh.nlmsg_len = sizeof(msg);
    msg.nlh.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    msg.nlh.nlmsg_flags = NLM_F_REQUEST;
    msg.req.sdiag_family = static_cast<uint8_t>(local.ss_family);
    msg.req.sdiag_protocol = IPPROTO_TCP;
    msg.req.idiag_states = ~0u;
    // The socket asked about has `local` as its own end.
    struct inet_diag_sockid& id = msg.req.id;
    if (local.ss_family == AF_INET) {
	const struct sockaddr_in& l = reinterpret_cast<const sockaddr_in&>(local);
	const struct sockaddr_in& r = reinterpret_cast<const sockaddr_in&>(remote);
	id.idiag_sport = l.sin_port;
	id.idiag_dport = r.sin_port;
	memcpy(id.idiag_src, &l.sin_addr, 4);
	memcpy(id.idiag_dst, &r.sin_addr, 4);
    } else {
	const struct sockaddr_in6& l = reinterpret_cast<const sockaddr_in6&>(local);
	const struct sockaddr_in6& r = reinterpret_cast<const sockaddr_in6&>(remote);
	id.idiag_sport = l.sin6_port;
	id.idiag_dport = r.sin6_port;
	memcpy(id.idiag_src, &l.sin6_addr, 16);
	memcpy(id.idiag_dst, &r.sin6_addr, 16);
    }
    id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
    id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;

    int fd = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (fd < 0) {
	why = std::string("socket diagnostics: ") + strerror(errno);
	return 0;
    }
    struct sockaddr_nl kernel;
    memset(&kernel, 0, sizeof(kernel));
    kernel.nl_family = AF_NETLINK;
    // The kernel answers an exact look-up before send() returns.
    struct timeval tv = { 1, 0 };
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof(tv));
    if (sendto(fd, &msg, sizeof(msg), 0,
	       reinterpret_cast<struct sockaddr*>(&kernel), sizeof(kernel))
	!= static_cast<ssize_t>(sizeof(msg))) {
	why = std::string("socket diagnostics: ") + strerror(errno);
	close(fd);
	return 0;
    }
    alignas(struct nlmsghdr) char buf[8192];
    ssize_t n = recv(fd, buf, sizeof(buf), 0);
    int e = errno;
    close(fd);
    if (n < 0) {
	why = std::string("socket diagnostics: ") + strerror(e);
	return 0;
    }
    const struct nlmsghdr* h = reinterpret_cast<const struct nlmsghdr*>(buf);
    size_t left = static_cast<size_t>(n);
    for (; NLMSG_OK(h, left); h = NLMSG_NEXT(h, left)) {
	if (h->nlmsg_type == NLMSG_ERROR) {
	    const struct nlmsgerr* err
		= static_cast<const struct nlmsgerr*>(NLMSG_DATA(h));
	    why = err->error == -ENOENT ? "no such connection"
		: std::string("socket diagnostics: ") + strerror(-err->error);
	    return 0;
	}
	if (h->nlmsg_type != SOCK_DIAG_BY_FAMILY
	    || h->nlmsg_len < NLMSG_LENGTH(sizeof(struct inet_diag_msg)))
	    continue;
	const struct inet_diag_msg* m
	    = static_cast<const struct inet_diag_msg*>(NLMSG_DATA(h));
	if (m->id.idiag_sport != id.idiag_sport
	    || m->id.idiag_dport != id.idiag_dport)
	    continue;
	// The kernel reports uid 0 for these: they belong to no process.
	if (m->idiag_state == kNewSynRecv)
	    return -1;
	if (m->idiag_state == kTimeWait) {
	    why = "the connection is closed";
	    return 0;
	}
	uid = m->idiag_uid;
	return 1;
    }
    why = "no answer from socket diagnostics";
    return 0;
}

}  // namespace

bool
tcp_socket_uid(const struct sockaddr_storage& local,
	       const struct sockaddr_storage& remote, uid_t& uid,
	       std::string& why)
{
    ErrnoSaver es;
    if (local.ss_family != remote.ss_family
	|| (local.ss_family != AF_INET && local.ss_family != AF_INET6)) {
	why = "not a TCP connection";
	return false;
    }
    for (int i = 0; i < kHalfOpenTries; i++) {
	int r = ask_sock_diag(local, remote, uid, why);
	if (r >= 0)
	    return r == 1;
	usleep(kHalfOpenPauseUs);
    }
    why = "the connection is still being set up";
    return false;
}

bool
peer_uid(int fd, uid_t& uid, std::string& why)
{
    ErrnoSaver es;
    struct sockaddr_storage mine, theirs;
    socklen_t ml = sizeof(mine), tl = sizeof(theirs);
    if (getsockname(fd, reinterpret_cast<struct sockaddr*>(&mine), &ml) < 0
	|| getpeername(fd, reinterpret_cast<struct sockaddr*>(&theirs), &tl) < 0) {
	why = strerror(errno);
	return false;
    }
    if (mine.ss_family == AF_UNIX) {
	struct ucred cred;
	socklen_t cl = sizeof(cred);
	if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &cl) < 0) {
	    why = strerror(errno);
	    return false;
	}
	uid = cred.uid;
	return true;
    }
    // The peer's socket has our remote end as its own.
    return tcp_socket_uid(theirs, mine, uid, why);
}

bool
uid_trusted(uid_t uid)
{
    if (uid == 0 || uid == geteuid())
	return true;
    ErrnoSaver es;
    std::vector<char> buf(16384);
    struct group gr, *g = NULL;
    while (getgrnam_r(kTrustedGroup, &gr, buf.data(), buf.size(), &g) == ERANGE
	   && buf.size() < (1u << 20))
	buf.resize(buf.size() * 2);
    if (g == NULL)
	return false;
    gid_t xorp = g->gr_gid;
    std::vector<char> pbuf(16384);
    struct passwd pw, *p = NULL;
    while (getpwuid_r(uid, &pw, pbuf.data(), pbuf.size(), &p) == ERANGE
	   && pbuf.size() < (1u << 20))
	pbuf.resize(pbuf.size() * 2);
    if (p == NULL)
	return false;
    if (p->pw_gid == xorp)
	return true;
    // Supplementary groups, wherever the system keeps them.
    int count = 64;
    std::vector<gid_t> groups(count);
    while (getgrouplist(p->pw_name, p->pw_gid, groups.data(), &count) < 0) {
	if (count <= static_cast<int>(groups.size()) || count > 65536)
	    return false;
	groups.resize(count);
    }
    for (int i = 0; i < count; i++)
	if (groups[i] == xorp)
	    return true;
    return false;
}
