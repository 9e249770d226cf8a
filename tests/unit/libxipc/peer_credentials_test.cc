// The peer's user as the kernel tells it, where the look-up can go wrong.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "libxipc/peer_credentials.hh"

namespace {

// Over the loopback address `ip`: a listener, a caller and the accepted end.
void
connect_pair(int family, const char* ip, int fds[3])
{
    sockaddr_storage ss = {};
    ss.ss_family = family;
    void* addr = family == AF_INET
	? static_cast<void*>(&reinterpret_cast<sockaddr_in*>(&ss)->sin_addr)
	: static_cast<void*>(&reinterpret_cast<sockaddr_in6*>(&ss)->sin6_addr);
    ASSERT_EQ(1, inet_pton(family, ip, addr));
    socklen_t len = family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    fds[0] = socket(family, SOCK_STREAM, 0);
    ASSERT_EQ(0, bind(fds[0], reinterpret_cast<sockaddr*>(&ss), len));
    ASSERT_EQ(0, listen(fds[0], 1));
    ASSERT_EQ(0, getsockname(fds[0], reinterpret_cast<sockaddr*>(&ss), &len));
    fds[1] = socket(family, SOCK_STREAM, 0);
    ASSERT_EQ(0, connect(fds[1], reinterpret_cast<sockaddr*>(&ss), len));
    fds[2] = accept(fds[0], NULL, NULL);
    ASSERT_LE(0, fds[2]);
}

class PeerCredentials
    : public ::testing::TestWithParam<std::pair<int, const char*> > {};

TEST_P(PeerCredentials, OwnersOfPeerAndListenerAndClosedSocketsOfNobody)
{
    int fds[3] = { -1, -1, -1 };
    connect_pair(GetParam().first, GetParam().second, fds);
    if (HasFatalFailure())
	return;
    uid_t uid;
    std::string why;
    for (int fd : {fds[2], fds[1]}) {
        uid = 12345;
        EXPECT_TRUE(peer_uid(fd, uid, why)) << why;
        EXPECT_EQ(geteuid(), uid);
    }
    uid = 12345;
    EXPECT_TRUE(listener_uid(fds[1], uid, why)) << why;
    EXPECT_EQ(geteuid(), uid);
    // The same from the socket table, as where socket diagnostics are missing.
    sockaddr_storage mine = {}, theirs = {}, listening = {}, none = {};
    socklen_t ml = sizeof(mine), tl = sizeof(theirs), ll = sizeof(listening);
    ASSERT_EQ(0, getsockname(fds[2], reinterpret_cast<sockaddr*>(&mine), &ml));
    ASSERT_EQ(0, getpeername(fds[2], reinterpret_cast<sockaddr*>(&theirs), &tl));
    ASSERT_EQ(0, getsockname(fds[0], reinterpret_cast<sockaddr*>(&listening), &ll));
    none.ss_family = listening.ss_family;
    for (const auto* pair : {&theirs, &listening}) {
        uid = 12345;
        EXPECT_TRUE(tcp_socket_uid_in_table(*pair, pair == &theirs ? mine : none, uid, why)) << why;
        EXPECT_EQ(geteuid(), uid);
    }
    EXPECT_FALSE(tcp_socket_uid_in_table(mine, mine, uid, why)) << "no such connection";
    close(fds[0]);
    EXPECT_FALSE(listener_uid(fds[1], uid, why)) << "no one listens";
    // Closed before the look-up: what is left of the socket belongs to no
    // process (the kernel says uid 0 for it, whoever closed it).
    close(fds[1]);
    why.clear();
    EXPECT_FALSE(peer_uid(fds[2], uid, why));
    EXPECT_FALSE(why.empty());
    EXPECT_FALSE(tcp_socket_uid_in_table(theirs, mine, uid, why));
    close(fds[2]);
}

INSTANTIATE_TEST_SUITE_P(Loopback, PeerCredentials,
			 ::testing::Values(std::make_pair(AF_INET, "127.0.0.1"),
					   std::make_pair(AF_INET6, "::1")));

TEST(PeerCredentialsUnix, SocketPairAndUnconnectedSockets)
{
    int sv[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, sv));
    uid_t uid = 12345, uid2 = 12345;
    std::string why;
    EXPECT_TRUE(peer_uid(sv[0], uid, why) && listener_uid(sv[1], uid2, why)) << why;
    EXPECT_EQ(geteuid(), uid);
    EXPECT_EQ(geteuid(), uid2);
    close(sv[0]);
    close(sv[1]);
    int lone = socket(AF_INET, SOCK_STREAM, 0);
    why.clear();
    EXPECT_FALSE(peer_uid(lone, uid, why));
    EXPECT_FALSE(why.empty());
    close(lone);
}

TEST(PeerCredentialsTrust, RootAndOurselvesButNotAStranger)
{
    EXPECT_TRUE(uid_trusted(0));
    EXPECT_TRUE(uid_trusted(geteuid()));
    EXPECT_FALSE(uid_trusted(static_cast<uid_t>(4000000000u)));
}

}  // namespace
