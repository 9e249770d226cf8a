// The failures of the limit operations, run against the sandbox's real
// iptables: errno after the commands, and the tool refusing a rule.

#include <sys/stat.h>

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

class FailureModelTest : public DaemonTest {};

// An iptables first on PATH that refuses the rules holding the number in
// $REFUSE, as a kernel refuses a hit count above its own cap.
class RefusingTool {
public:
    explicit RefusingTool(const char* refuse) : _path(getenv("PATH"))
    {
        FILE* f = fopen("/tmp/refusing-bin/iptables", "w");
        if (f == nullptr && system("mkdir -p /tmp/refusing-bin") == 0)
            f = fopen("/tmp/refusing-bin/iptables", "w");
        fputs("#!/bin/sh\ncase \" $* \" in *\" $REFUSE \"*) exit 1;; esac\n"
              "exec /sbin/iptables \"$@\"\n", f);
        fclose(f);
        chmod("/tmp/refusing-bin/iptables", 0755);
        setenv("REFUSE", refuse, 1);
        setenv("PATH", ("/tmp/refusing-bin:" + _path).c_str(), 1);
    }
    ~RefusingTool() { setenv("PATH", _path.c_str(), 1); }

private:
    string _path;
};

vector<string> sorted(vector<string> lines)
{
    std::sort(lines.begin(), lines.end());
    return lines;
}

// The call fails with the reason, the old rule is put back and stays
// remembered, so the next change deletes it.
TEST_F(FailureModelTest, RefusedLimitKeepsTheOldRule)
{
    build();
    RefusingTool tool("30");
    LogCapture log;
    const struct {
        void (LoginMain::*set)(const uint32_t&);
        const char* reason;
        const char* next_delete;
    } cases[] = {
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
        try {
            ((*_login).*c.set)(30);
            ADD_FAILURE() << c.reason;
        } catch (const LoginException& e) {
            EXPECT_EQ(c.reason, e.why());
        }
        EXPECT_EQ(before, sorted(input_chain())) << c.reason;
        ASSERT_FALSE(log.lines().empty());
        EXPECT_NE(string::npos, log.lines()[0].find(string(c.reason) + "\n"));
        clear_journal();
        ((*_login).*c.set)(10);
        EXPECT_EQ(c.next_delete, journal().at(0));
    }
}

// With nothing to put back, a refused default stops construction.
TEST_F(FailureModelTest, RefusedDefaultStopsConstruction)
{
    RefusingTool tool("15");
    try {
        build();
        FAIL() << "no LoginException";
    } catch (const LoginException& e) {
        EXPECT_EQ("iptables refused the SSH connection limit 15 (exit status 1)", e.why());
    }
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
