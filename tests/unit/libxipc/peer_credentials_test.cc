// The peer's user as the kernel tells it, where the look-up can go wrong.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "libxipc/peer_credentials.hh"

namespace {

// A connected pair over the loopback address `ip` of `family`: the
// caller's end and the listener's accepted end.
struct Pair {
    int listener = -1;
    int caller = -1;
    int accepted = -1;
    ~Pair() {
	if (listener >= 0)
	    close(listener);
	if (caller >= 0)
	    close(caller);
	if (accepted >= 0)
	    close(accepted);
    }
};

void
connect_pair(int family, const char* ip, Pair& p)
{
    sockaddr_storage ss = {};
    socklen_t len;
    if (family == AF_INET) {
	sockaddr_in* sin = reinterpret_cast<sockaddr_in*>(&ss);
	sin->sin_family = AF_INET;
	ASSERT_EQ(1, inet_pton(AF_INET, ip, &sin->sin_addr));
	len = sizeof(*sin);
    } else {
	sockaddr_in6* sin6 = reinterpret_cast<sockaddr_in6*>(&ss);
	sin6->sin6_family = AF_INET6;
	ASSERT_EQ(1, inet_pton(AF_INET6, ip, &sin6->sin6_addr));
	len = sizeof(*sin6);
    }
    int l = socket(family, SOCK_STREAM, 0);
    ASSERT_LE(0, l);
    ASSERT_EQ(0, bind(l, reinterpret_cast<sockaddr*>(&ss), len)) << strerror(errno);
    ASSERT_EQ(0, listen(l, 1));
    ASSERT_EQ(0, getsockname(l, reinterpret_cast<sockaddr*>(&ss), &len));
    p.caller = socket(family, SOCK_STREAM, 0);
    ASSERT_EQ(0, connect(p.caller, reinterpret_cast<sockaddr*>(&ss), len));
    p.accepted = accept(l, NULL, NULL);
    p.listener = l;
    ASSERT_LE(0, p.accepted);
}

struct Loopback {
    int family;
    const char* ip;
};

class PeerCredentials : public ::testing::TestWithParam<Loopback> {};

TEST_P(PeerCredentials, OwnersOfPeerAndListenerAndClosedSocketsOfNobody)
{
    Pair p;
    connect_pair(GetParam().family, GetParam().ip, p);
    if (HasFatalFailure())
	return;
    uid_t uid = 12345;
    std::string why;
    EXPECT_TRUE(peer_uid(p.accepted, uid, why)) << why;
    EXPECT_EQ(geteuid(), uid);
    uid = 12345;
    EXPECT_TRUE(peer_uid(p.caller, uid, why)) << why;
    EXPECT_EQ(geteuid(), uid);
    uid = 12345;
    EXPECT_TRUE(listener_uid(p.caller, uid, why)) << why;
    EXPECT_EQ(geteuid(), uid);
    close(p.listener);
    p.listener = -1;
    EXPECT_FALSE(listener_uid(p.caller, uid, why)) << "no one listens";

    // Closed before the look-up: what is left of its socket belongs to no
    // process (the kernel says uid 0 for it, whoever closed it).
    close(p.caller);
    p.caller = -1;
    why.clear();
    EXPECT_FALSE(peer_uid(p.accepted, uid, why));
    EXPECT_FALSE(why.empty());
}

INSTANTIATE_TEST_SUITE_P(Loopback, PeerCredentials,
			 ::testing::Values(Loopback{ AF_INET, "127.0.0.1" },
					   Loopback{ AF_INET6, "::1" }));

TEST(PeerCredentialsUnix, SocketPairAndListener)
{
    int sv[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, sv));
    uid_t uid = 12345;
    std::string why;
    EXPECT_TRUE(peer_uid(sv[0], uid, why)) << why;
    EXPECT_EQ(geteuid(), uid);
    uid = 12345;
    EXPECT_TRUE(listener_uid(sv[1], uid, why)) << why;
    EXPECT_EQ(geteuid(), uid);
    close(sv[0]);
    close(sv[1]);

    EXPECT_FALSE(peer_uid(-1, uid, why));
    int lone = socket(AF_INET, SOCK_STREAM, 0);
    why.clear();
    EXPECT_FALSE(peer_uid(lone, uid, why)) << "not connected";
    EXPECT_FALSE(why.empty());
    close(lone);
}

TEST(PeerCredentialsTrust, RootAndOurselvesOnly)
{
    EXPECT_TRUE(uid_trusted(0));
    EXPECT_TRUE(uid_trusted(geteuid()));
    // No user has this uid, so it is in no group.
    EXPECT_FALSE(uid_trusted(static_cast<uid_t>(4000000000u)));
}

}  // namespace
