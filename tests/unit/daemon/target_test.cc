// The XRL handlers of the target, called as the router would call them.

#include <cctype>
#include <cerrno>
#include <cstring>
#include <string>

#include "libxipc/xrl_error.hh"

#include "daemon_fixture.hh"

namespace daemon_test {
namespace {

using std::string;

class TargetTest : public DaemonTest {
protected:
    void SetUp() override
    {
        DaemonTest::SetUp();
        build();
    }
};

void expect_failed(const XrlCmdError& e, const string& note)
{
    EXPECT_EQ(COMMAND_FAILED, e.error_code());
    EXPECT_EQ(note, e.note());
}

TEST_F(TargetTest, StatusAndShutdown)
{
    string text;
    uint32_t status = 0;
    EXPECT_TRUE(_target->get_status(status, text).isOK());
    EXPECT_EQ("3 running", std::to_string(status) + " " + text);
    EXPECT_TRUE(_target->shutdown().isOK());
    EXPECT_TRUE(_target->shutdown().isOK());  // a second one changes nothing
    EXPECT_FALSE(_login->is_running());
    EXPECT_TRUE(_target->get_status(status, text).isOK());
    EXPECT_EQ("4 dying", std::to_string(status) + " " + text);
}

// errno left set before a call makes the limit operations fail their check;
// the plain forms answer success all the same.
TEST_F(TargetTest, AnswersOfEachForm)
{
    errno = EACCES;
    expect_failed(_target->set_telnet_rate_limit(5), "System set telnet rete limit failed.");
    errno = EACCES;
    expect_failed(_target->set_ssh_rate_limit(5), "System set ssh rate limit failed.");
    errno = EACCES;
    expect_failed(_target->set_ssh_connection_limit(5), "System set ssh connection limit failed.");
    errno = 0;
    EXPECT_TRUE(_target->set_ssh_connection_limit(6).isOK());
    errno = EACCES;
    EXPECT_TRUE(_target->add_snmp_access_entry(IPv4Net("10.0.0.0/8")).isOK());
    errno = EACCES;
    EXPECT_TRUE(_target->clear_arp("10.99.0.2").isOK());
    EXPECT_TRUE(_target->noop_operation_a().isOK());
    EXPECT_TRUE(_target->noop_operation_b().isOK());
    // A fixed text followed by the reason.
    for (auto e : {_target->set_encrypted_password("", "x"), _target->set_password_locked("", "x")})
        expect_failed(e, "Set password failed, User is an empty string");
    expect_failed(_target->set_user_class("", "admin"), "Set user class failed, User is an empty string");
}

TEST_F(TargetTest, HostNameChecks)
{
    const string max_length = "System set hostname failed, max length is 63.";
    const string bad = "System set hostname failed.";
    // The length is tested first, even with a bad byte in the name.
    const struct { string name, note; } cases[] = {
        {string(64, 'a'), max_length}, {" " + string(63, 'a'), max_length},
        {"sw 1", bad}, {"sw/1", bad}, {"sw@1", bad}, {"sw:1", bad}, {"sw\n1", bad},
        {"sw\x80" "1", bad}, {"caf\xc3\xa9", bad}, {string("sw\0", 3), bad}, {"-a", bad},
        {string(59, 'b') + "-9.c", ""}, {"1-leading-digit.Dash", ""},
        {"", bad},  // passes the byte tests; the operation itself refuses it
    };
    for (const auto& c : cases) {
        clear_journal();
        XrlCmdError e = _target->set_hostname(c.name);
        EXPECT_EQ(c.note.empty() ? OKAY : COMMAND_FAILED, e.error_code()) << c.name;
        EXPECT_EQ(c.note, e.note()) << c.name;
        // A refused name runs nothing.
        EXPECT_EQ(c.note.empty(), !journal().empty()) << c.name;
    }
}

// The texts that reach a root shell unquoted: the handler, its script, its
// refusal, and the byte refused besides the shell's (-1: letters, digits and
// . _ - / only, in a log directory).
const struct {
    XrlCmdError (XrlLoginTarget::*call)(const string&);
    const char *script, *note;
    int also;
} kShellTexts[] = {
    {&XrlLoginTarget::set_ssh_root_login, "ssh_root-login.sh", "System set ssh root login failed.", '\t'},
    {&XrlLoginTarget::set_ssh_protocol_version, "ssh_protocol-version.sh", "System set ssh protocol version failed.", '\t'},
    {&XrlLoginTarget::set_tacacs_key, "tacacs_key.sh", "System set tacacs shared key failed.", ' '},
    {&XrlLoginTarget::set_tacacs_auth_type, "tacacs_auth_type.sh", "System set tacacs auth type failed.", ' '},
    {&XrlLoginTarget::set_syslog_file, "syslog_file_filename.sh", "System set syslog local file position failed.", -1},
};

// Every byte between two letters: refused ones run nothing, the others run
// their one line.
TEST_F(TargetTest, ShellTextsOfEveryByte)
{
    const string shell = "`$\\\"'|&;<>()*?[]{}~#!";
    for (const auto& op : kShellTexts) {
        clear_journal();
        std::vector<string> lines;
        for (int b = 0; b < 256; b++) {
            const string text = string(op.also < 0 ? "/tmp/log/" : "") + "a" + char(b) + "b";
            const bool refused = op.also < 0 ? b == 0 || (!isalnum(b) && !strchr("._-/", b))
                : (b < 0x20 && b != '\t') || b == 0x7f || shell.find(char(b)) != string::npos || b == op.also;
            XrlCmdError e = (_target.get()->*op.call)(text);
            EXPECT_EQ(refused ? op.note : "", e.note()) << op.script << " byte " << b;
            if (!refused)
                lines.push_back(string("/vela/bin/shell/") + op.script + " " + text);
        }
        EXPECT_EQ(lines, journal()) << op.script;
    }
}

// A line too long for the kernel starts no shell: that is never success.
TEST_F(TargetTest, TextsTooLongForACommandLine)
{
    const string big(1 << 20, 'a');
    clear_journal();
    for (const auto& c : kShellTexts) {
        errno = 0;
        expect_failed((_target.get()->*c.call)(big), c.note);
    }
    errno = 0;
    EXPECT_EQ(-1, _login->clear_arp(big));  // no failure answer; a warning
    EXPECT_EQ(-1, _login->clear_neighbours(big));
    EXPECT_TRUE(journal().empty());
    // The longest line the kernel takes as one argument runs; a byte more not.
    const string key_line = "/vela/bin/shell/tacacs_key.sh ";
    const string longest(32 * 4096 - 1 - key_line.size(), 'k');
    EXPECT_TRUE(_target->set_tacacs_key(longest).isOK());
    expect_failed(_target->set_tacacs_key(longest + 'k'), "System set tacacs shared key failed.");
    string ran;
    for (const string& piece : journal())
        ran += piece;
    EXPECT_EQ(key_line + longest, ran);
}

TEST_F(TargetTest, LoggingLevelAndFacility)
{
    // Words are compared with their case: an unknown word enables all.
    const struct { const char* set; const char* get; } levels[] = {
        {"fatal", "fatal"}, {"info", "info"}, {"WARNING", "trace"}, {"warning", "warning"},
    };
    string level;
    for (const auto& l : levels) {
        EXPECT_TRUE(_target->set_logging_level(l.set).isOK());
        EXPECT_TRUE(_target->get_logging_level(level).isOK());
        EXPECT_EQ(l.get, level);
    }

    uint32_t facility = 99;
    EXPECT_TRUE(_target->get_logging_facility(facility).isOK());
    EXPECT_EQ(0u, facility);
    // A number the log refuses is remembered and answered all the same.
    EXPECT_TRUE(_target->set_logging_facility(99).isOK());
    EXPECT_TRUE(_target->get_logging_facility(facility).isOK());
    EXPECT_EQ(99u, facility);
}

TEST_F(TargetTest, ModulesFollowBirthsAndDeaths)
{
    EXPECT_TRUE(_target->modules().empty());
    const std::pair<string, string> births[] = {
        {"fea", "fea-1@127.0.0.1"}, {"fea", "fea-2@127.0.0.1"}, {"not_in_table", "x@127.0.0.1"}};
    for (const auto& b : births)
        EXPECT_TRUE(_target->finder_event_observer_0_1_xrl_target_birth(b.first, b.second).isOK());
    EXPECT_EQ((std::set<string>{"fea", "not_in_table"}), _target->modules());

    // One death removes the class, whatever instances remain.
    EXPECT_TRUE(_target->finder_event_observer_0_1_xrl_target_death(
                    "fea", "fea-1@127.0.0.1").isOK());
    EXPECT_TRUE(_target->finder_event_observer_0_1_xrl_target_death(
                    "rib", "rib-1@127.0.0.1").isOK());
    EXPECT_EQ((std::set<string>{"not_in_table"}), _target->modules());
}

} // namespace
} // namespace daemon_test
