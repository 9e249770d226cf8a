// The failures of the limit operations, run against the sandbox's real
// iptables: errno after the commands, and the tool refusing a rule.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "daemon_fixture.hh"

namespace daemon_test {
namespace {

using std::string;
using std::vector;

// Puts first on PATH an iptables that refuses the rules holding the number
// `refuse`, as a kernel refuses a hit count above its own cap.
class FailureModelTest : public DaemonTest {
protected:
    void refuse(const char* number)
    {
        ASSERT_EQ(0, system("mkdir -p /tmp/refusing && printf '#!/bin/sh\\ncase \" $* \" in"
                            " *\" $REFUSE \"*) exit 1;; esac\\nexec /sbin/iptables \"$@\"\\n'"
                            " > /tmp/refusing/iptables && chmod +x /tmp/refusing/iptables"));
        setenv("REFUSE", number, 1);
        setenv("PATH", ("/tmp/refusing:" + _path).c_str(), 1);
    }
    void TearDown() override { setenv("PATH", _path.c_str(), 1); DaemonTest::TearDown(); }
    const string _path = getenv("PATH");
};

vector<string> sorted(vector<string> lines)
{
    std::sort(lines.begin(), lines.end());
    return lines;
}

// The call fails with the reason, logged; the old rule is put back and stays
// remembered, so the next change deletes it. At start-up, with nothing to put
// back, construction stops.
TEST_F(FailureModelTest, RefusedLimitKeepsTheOldRule)
{
    build();
    refuse("30");
    LogCapture log;
    const struct { void (LoginMain::*set)(const uint32_t&); const char *reason, *next_delete; } cases[] = {
        {&LoginMain::set_telnet_rate_limit,
         "iptables refused the telnet rate limit 30 (exit status 1), the limit 20 stays",
         "iptables -D INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name TELNET -j DROP"},
        {&LoginMain::set_ssh_rate_limit,
         "iptables refused the SSH rate limit 30 (exit status 1), the limit 20 stays",
         "iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name SSH -j DROP"},
        {&LoginMain::set_ssh_connection_limit,
         "iptables refused the SSH connection limit 30 (exit status 1), the limit 15 stays",
         "iptables -D INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above 15 -j REJECT"},
    };
    for (const auto& c : cases) {
        const vector<string> before = sorted(input_chain());
        log.clear();
        errno = 0;
        EXPECT_THROW(((*_login).*c.set)(30), LoginException);
        EXPECT_EQ(before, sorted(input_chain())) << c.reason;
        ASSERT_FALSE(log.lines().empty());
        EXPECT_NE(string::npos, log.lines()[0].find(string(c.reason) + "\n"));
        clear_journal();
        ((*_login).*c.set)(10);
        EXPECT_EQ(c.next_delete, journal().at(0));
    }
    _target.reset();
    _login.reset();
    refuse("15");
    EXPECT_THROW(build(), LoginException);
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
