// The error-text check of the limit operations, run against the sandbox's
// real iptables: what the check sees is errno, not the commands' status.

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "daemon_fixture.hh"

namespace daemon_test {
namespace {

using std::string;
using std::vector;

class FailureModelTest : public DaemonTest {};

TEST_F(FailureModelTest, FailingCommandsWithCleanErrnoPass)
{
    // An iptables that refuses everything with status 1, first on PATH.
    ASSERT_EQ(0, system("mkdir -p /tmp/failing-bin && printf '#!/bin/sh\\nexit 1\\n'"
                        " > /tmp/failing-bin/iptables && chmod +x /tmp/failing-bin/iptables"));
    string saved_path = getenv("PATH");
    setenv("PATH", ("/tmp/failing-bin:" + saved_path).c_str(), 1);
    clear_journal();
    errno = 0;

    EXPECT_NO_THROW(build());
    errno = 0;
    EXPECT_NO_THROW(_login->set_telnet_rate_limit(5));
    errno = 0;
    EXPECT_NO_THROW(_login->set_ssh_connection_limit(4));

    setenv("PATH", saved_path.c_str(), 1);
    // Every command ran (9 + 4 + 6) and none reached the chain.
    EXPECT_EQ(19u, journal().size());
    EXPECT_TRUE(input_chain().empty());
}

TEST_F(FailureModelTest, ConstructorChecksEachLimit)
{
    errno = ENOENT;
    try {
        build();
        FAIL() << "no LoginException";
    } catch (const LoginException& e) {
        EXPECT_EQ("No such file or directory", e.why());
    }
    // Only the first pair went in before the check stopped construction.
    EXPECT_EQ(2u, journal().size());
    vector<string> expected = {
        "-A INPUT -p tcp -m tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name SSH --mask 255.255.255.255 --rsource -j DROP",
        "-A INPUT -p tcp -m tcp --dport 22 -m state --state NEW -m recent --set --name SSH --mask 255.255.255.255 --rsource"};
    EXPECT_EQ(expected, input_chain());
}

TEST_F(FailureModelTest, ConnectionLimitLogsTheCheckedText)
{
    build();
    LogCapture log;

    errno = 0;
    _login->set_ssh_connection_limit(4);
    ASSERT_EQ(1u, log.lines().size());
    EXPECT_NE(string::npos, log.lines()[0].find("login_main.cc set_ssh_connection_limit"));
    EXPECT_NE(string::npos, log.lines()[0].find("Success\n"));

    // A failing check in the nested rate call raises before the log line.
    log.clear();
    clear_journal();
    errno = EPERM;
    EXPECT_THROW(_login->set_ssh_connection_limit(3), LoginException);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(6u, journal().size());
}

} // namespace
} // namespace daemon_test
