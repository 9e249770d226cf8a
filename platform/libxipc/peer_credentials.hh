// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// Who is on the other end of a local connection, as the kernel says: the
// peer's credentials of a unix socket (SO_PEERCRED), and for TCP the owner
// of the socket at the other end, found with the kernel's socket
// diagnostics (NETLINK_SOCK_DIAG).  Nothing the peer sends is believed.

#ifndef __LIBXIPC_PEER_CREDENTIALS_HH__
#define __LIBXIPC_PEER_CREDENTIALS_HH__

#include <sys/socket.h>
#include <sys/types.h>

#include <string>

// The user owning the peer of the connected socket `fd`.  False, with the
// reason in `why`, when the kernel cannot tell: the peer is gone, is not on
// this machine, or its socket belongs to no process any more.
bool peer_uid(int fd, uid_t& uid, std::string& why);

// The owner of the listening socket the connected socket `fd` reached: the
// process that runs the server.  For a unix socket, who listened on it.
bool listener_uid(int fd, uid_t& uid, std::string& why);

// The owner of the TCP socket (IPv4 or IPv6) whose own end is `local` and
// whose other end is `remote` (all zero for a listening socket); false as
// for peer_uid().
bool tcp_socket_uid(const struct sockaddr_storage& local,
		    const struct sockaddr_storage& remote, uid_t& uid,
		    std::string& why);

// The same look-up in the kernel's socket table, /proc/net/tcp{,6}: what
// tcp_socket_uid() falls back on where the socket diagnostics cannot be
// reached (a process emulated by qemu-user, whose netlink lacks them).
bool tcp_socket_uid_in_table(const struct sockaddr_storage& local,
			     const struct sockaddr_storage& remote, uid_t& uid,
			     std::string& why);

// Root, the user of this process, or a member (primary or supplementary) of
// the group "xorp": who may speak XRL with this process.
bool uid_trusted(uid_t uid);

#endif // __LIBXIPC_PEER_CREDENTIALS_HH__
