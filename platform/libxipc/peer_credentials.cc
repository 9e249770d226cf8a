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
#include <cstdio>
#include <cstring>
#include <vector>

#include "libxipc/xrl_wire_conn.hh"

namespace {

const char kTrustedGroup[] = "xorp";

// An address as /proc/net/tcp{,6} prints it: each 32-bit word of the
// address in the kernel's own byte order. A process emulated on a kernel of
// the other order (qemu-user) cannot know which, so both are made.
std::string
proc_address(const unsigned char* bytes, size_t len, bool swapped, unsigned port)
{
    std::string text;
    char word[9];
    for (size_t i = 0; i < len; i += 4) {
	const unsigned char* b = bytes + i;
	if (swapped)
	    snprintf(word, sizeof(word), "%02X%02X%02X%02X", b[3], b[2], b[1], b[0]);
	else
	    snprintf(word, sizeof(word), "%02X%02X%02X%02X", b[0], b[1], b[2], b[3]);
	text += word;
    }
    snprintf(word, sizeof(word), ":%04X", port);
    return text + word;
}

void
proc_addresses(const struct sockaddr_storage& a, std::string out[2])
{
    const unsigned char* bytes;
    size_t len;
    unsigned port;
    if (a.ss_family == AF_INET) {
	const struct sockaddr_in& v4 = reinterpret_cast<const sockaddr_in&>(a);
	bytes = reinterpret_cast<const unsigned char*>(&v4.sin_addr);
	len = 4;
	port = ntohs(v4.sin_port);
    } else {
	const struct sockaddr_in6& v6 = reinterpret_cast<const sockaddr_in6&>(a);
	bytes = reinterpret_cast<const unsigned char*>(&v6.sin6_addr);
	len = 16;
	port = ntohs(v6.sin6_port);
    }
    out[0] = proc_address(bytes, len, false, port);
    out[1] = proc_address(bytes, len, true, port);
}

}  // namespace

bool
tcp_socket_uid_in_table(const struct sockaddr_storage& local,
	     const struct sockaddr_storage& remote, uid_t& uid,
	     std::string& why)
{
    std::string mine[2], theirs[2];
    proc_addresses(local, mine);
    proc_addresses(remote, theirs);
    FILE* f = fopen(local.ss_family == AF_INET ? "/proc/net/tcp" : "/proc/net/tcp6", "re");
    if (f == NULL) {
	why = std::string("socket table: ") + strerror(errno);
	return false;
    }
    char line[512], l[80], r[80];
    unsigned long owner, inode;
    bool found = false;
    while (fgets(line, sizeof(line), f) != NULL) {
	// sl local rem st tx:rx tr:when retrnsmt uid timeout inode
	if (sscanf(line, "%*s %79s %79s %*s %*s %*s %*s %lu %*s %lu",
		   l, r, &owner, &inode) != 4)
	    continue;
	for (int order = 0; order < 2 && !found; order++)
	    found = mine[order] == l && theirs[order] == r;
	if (found)
	    break;
    }
    fclose(f);
    if (!found) {
	why = "no such connection";
	return false;
    }
    if (inode == 0) {
	why = "the socket is closed";
	return false;
    }
    uid = static_cast<uid_t>(owner);
    return true;
}

namespace {

// One exact look-up of a TCP socket by its addresses (the remote one all
// zero for a listening socket).
bool
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
    if (fd < 0 && (errno == EPROTONOSUPPORT || errno == EAFNOSUPPORT))
	return tcp_socket_uid_in_table(local, remote, uid, why);
    if (fd < 0) {
	why = std::string("socket diagnostics: ") + strerror(errno);
	return false;
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
	return false;
    }
    alignas(struct nlmsghdr) char buf[8192];
    ssize_t n = recv(fd, buf, sizeof(buf), 0);
    int e = errno;
    close(fd);
    if (n < 0) {
	why = std::string("socket diagnostics: ") + strerror(e);
	return false;
    }
    const struct nlmsghdr* h = reinterpret_cast<const struct nlmsghdr*>(buf);
    size_t left = static_cast<size_t>(n);
    for (; NLMSG_OK(h, left); h = NLMSG_NEXT(h, left)) {
	if (h->nlmsg_type == NLMSG_ERROR) {
	    const struct nlmsgerr* err
		= static_cast<const struct nlmsgerr*>(NLMSG_DATA(h));
	    why = err->error == -ENOENT ? "no such connection"
		: std::string("socket diagnostics: ") + strerror(-err->error);
	    return false;
	}
	if (h->nlmsg_type != SOCK_DIAG_BY_FAMILY
	    || h->nlmsg_len < NLMSG_LENGTH(sizeof(struct inet_diag_msg)))
	    continue;
	const struct inet_diag_msg* m
	    = static_cast<const struct inet_diag_msg*>(NLMSG_DATA(h));
	if (m->id.idiag_sport != id.idiag_sport
	    || m->id.idiag_dport != id.idiag_dport)
	    continue;
	// What is left of a closed socket (time-wait, whatever its state
	// says) or of one half open is reported as uid 0: only a socket a
	// process holds, with an inode, has a real owner.
	if (m->idiag_inode == 0) {
	    why = "the socket is closed";
	    return false;
	}
	uid = m->idiag_uid;
	return true;
    }
    why = "no answer from socket diagnostics";
    return false;
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
    return ask_sock_diag(local, remote, uid, why);
}

namespace {

// The credentials of a unix socket's peer, or the addresses of a TCP
// connection (false for neither).
bool
ends(int fd, struct sockaddr_storage& mine, struct sockaddr_storage& theirs,
     bool& is_unix, uid_t& uid, std::string& why)
{
    socklen_t ml = sizeof(mine), tl = sizeof(theirs);
    if (getsockname(fd, reinterpret_cast<struct sockaddr*>(&mine), &ml) < 0
	|| getpeername(fd, reinterpret_cast<struct sockaddr*>(&theirs), &tl) < 0) {
	why = strerror(errno);
	return false;
    }
    is_unix = mine.ss_family == AF_UNIX;
    if (!is_unix)
	return true;
    struct ucred cred;
    socklen_t cl = sizeof(cred);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &cl) < 0) {
	why = strerror(errno);
	return false;
    }
    uid = cred.uid;
    return true;
}

}  // namespace

bool
peer_uid(int fd, uid_t& uid, std::string& why)
{
    ErrnoSaver es;
    struct sockaddr_storage mine, theirs;
    bool is_unix;
    if (!ends(fd, mine, theirs, is_unix, uid, why))
	return false;
    // The peer's socket has our remote end as its own.
    return is_unix || tcp_socket_uid(theirs, mine, uid, why);
}

bool
listener_uid(int fd, uid_t& uid, std::string& why)
{
    ErrnoSaver es;
    struct sockaddr_storage mine, theirs;
    bool is_unix;
    if (!ends(fd, mine, theirs, is_unix, uid, why))
	return false;
    if (is_unix)
	return true;	// SO_PEERCRED of a caller names who listened
    // The one socket listening on our remote end: no remote end of its own.
    struct sockaddr_storage any;
    memset(&any, 0, sizeof(any));
    any.ss_family = theirs.ss_family;
    return tcp_socket_uid(theirs, any, uid, why);
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
