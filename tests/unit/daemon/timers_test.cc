// Card states and the five job timers, run for minutes of virtual time. A
// `ping` that prints nothing stands first on PATH, so each liveness pass is
// one quick journal line per configured server.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "libxorp/clock.hh"

#include "daemon_fixture.hh"
#include "log_capture.hh"

namespace daemon_test {
namespace {

using std::string;

const char VELA_LOG[] = "/var/log/sandbox/vela_common.log";

class TimersTest : public DaemonTest {
protected:
    TimersTest() : _loop(&_clock) {}

    void SetUp() override
    {
        DaemonTest::SetUp();
        _path = getenv("PATH");
        ASSERT_EQ(0, system("mkdir -p /tmp/quiet-ping && printf '#!/bin/sh\\n' >/tmp/quiet-ping/ping && chmod 755 /tmp/quiet-ping/ping"));
        setenv("PATH", ("/tmp/quiet-ping:" + _path).c_str(), 1);
        fclose(fopen(VELA_LOG, "w"));
        build(_loop);
    }

    void TearDown() override
    {
        DaemonTest::TearDown();
        setenv("PATH", _path.c_str(), 1);
    }

    // Turns the loop until `seconds` of virtual time have passed.
    void run_for(int seconds)
    {
        TimeVal end = _clock.now() + TimeVal(seconds, 0);
        TimeVal delay;
        while (_loop.timer_list().get_next_delay(delay)
               && _clock.now() + delay <= end)
            _loop.run();
        _clock.set_time(end);
    }

    void state(uint32_t s) { EXPECT_TRUE(_target->card_state_changed(1, s).isOK()); }

    static int count(const std::vector<string>& lines, const string& text)
    {
        int n = 0;
        for (const string& l : lines)
            n += l.compare(0, text.size(), text) == 0;
        return n;
    }
    static int count_containing(const std::vector<string>& lines,
                                const string& text)
    {
        int n = 0;
        for (const string& l : lines)
            n += l.find(text) != string::npos;
        return n;
    }
    int passes() { return count(journal(), "ping -c 3 -i 0.2 -w 1 10.99.0.2|"); }
    int vela(const string& name) { return count(vela_lines(), name); }
    static std::vector<string> vela_lines()
    {
        std::vector<string> lines;
        FILE* f = fopen(VELA_LOG, "r");
        char buf[256];
        while (f != nullptr && fgets(buf, sizeof(buf), f) != nullptr)
            lines.push_back(buf);
        if (f != nullptr)
            fclose(f);
        return lines;
    }

    // Passes, fan, rpsu, syslog pairs, temperature, as run so far.
    void expect_jobs(int pass, int fan, int rpsu, int syslog, int temp)
    {
        EXPECT_EQ(pass, passes());
        EXPECT_EQ(fan, vela("fan_controller\n"));
        EXPECT_EQ(rpsu, vela("rpsu_controller\n"));
        EXPECT_EQ(syslog, vela("syslog_rpsu_info\n"));
        EXPECT_EQ(syslog, vela("syslog_sfp_info\n"));
        EXPECT_EQ(temp, vela("execute_command /vela/bin/shell/snmp_switch_temperature.sh\n"));
    }

    VirtualClock _clock;
    EventLoop    _loop;
    string       _path;
};

TEST_F(TimersTest, TenMinutesOfJobsBetweenStates8And10)
{
    _login->set_tacacs_server(IPv4("10.99.0.2"));
    // No timer runs before state 8, and other states start nothing.
    state(0);
    state(9);
    state(11);
    run_for(600);
    expect_jobs(1, 0, 0, 0, 0);

    state(8);
    run_for(600);
    expect_jobs(61, 2, 1, 10, 10);
    EXPECT_EQ("syslog_rpsu_info\n", vela_lines().at(1));
    EXPECT_EQ("syslog_sfp_info\n", vela_lines().at(2));

    // State 10 twice: everything stops, the second finds nothing to do.
    state(10);
    state(10);
    run_for(600);
    expect_jobs(61, 2, 1, 10, 10);
}

TEST_F(TimersTest, SecondState8RestartsEveryTimer)
{
    _login->set_tacacs_server(IPv4("10.99.0.2"));
    state(8);
    run_for(3);
    state(8);
    run_for(9);     // 12 s after the first state 8, 9 s after the second
    expect_jobs(1, 0, 1, 0, 0);
    run_for(1);
    expect_jobs(2, 0, 1, 0, 0);
    run_for(47);    // the 60-second jobs count from the second state 8 too
    expect_jobs(6, 0, 1, 0, 0);
    run_for(3);
    expect_jobs(7, 0, 1, 1, 1);
}

TEST_F(TimersTest, StateTenBeforeTheOneShotAndStateEightAgain)
{
    state(10);      // nothing was started: nothing happens
    state(8);
    run_for(4);
    state(10);
    run_for(600);
    expect_jobs(0, 0, 0, 0, 0);

    _login->set_tacacs_server(IPv4("10.99.0.2"));
    state(8);
    run_for(10);
    expect_jobs(2, 0, 1, 0, 0);
}

TEST_F(TimersTest, FailedPassEndsOnlyTheLivenessTimer)
{
    // The first pass writes the file; a directory in its place fails the open.
    unlink("/tmp/system/tac_live_servers");
    ASSERT_EQ(0, mkdir("/tmp/system/tac_live_servers", 0755));
    LogCapture log;
    state(8);
    run_for(10);
    EXPECT_EQ(1, count_containing(log.lines(),
        " login_main.cc tac_live Open /tmp/system/tac_live_servers error."));
    ASSERT_EQ(0, rmdir("/tmp/system/tac_live_servers"));

    _login->set_tacacs_server(IPv4("10.99.0.2"));
    run_for(590);
    expect_jobs(1, 2, 1, 10, 10);

    // The next state 8 starts the liveness timer anew.
    state(8);
    run_for(10);
    expect_jobs(2, 2, 2, 10, 10);
}

} // namespace
} // namespace daemon_test
