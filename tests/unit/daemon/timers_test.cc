// Card states and the five job timers over minutes of virtual time. A `ping`
// that prints nothing comes first on PATH: a pass is one quick journal line.

#include <sys/stat.h>

#include <algorithm>

#include "daemon_fixture.hh"

namespace daemon_test {
namespace {

const char VELA_LOG[] = "/var/log/sandbox/vela_common.log";

class TimersTest : public DaemonTest {
protected:
    void SetUp() override
    {
        DaemonTest::SetUp();
        ASSERT_EQ(0, system("mkdir -p /tmp/quiet && printf '#!/bin/sh\\n' >/tmp/quiet/ping && chmod 755 /tmp/quiet/ping"));
        setenv("PATH", (std::string("/tmp/quiet:") + getenv("PATH")).c_str(), 1);
        fclose(fopen(VELA_LOG, "w"));
        build(_loop);
    }

    void state(uint32_t s) { EXPECT_TRUE(_target->card_state_changed(1, s).isOK()); }

    // Turns the loop through `seconds` of virtual time; gives the runs so far
    // of the pass, fan, rpsu, the two syslog calls and temperature.
    std::string run(int seconds)
    {
        TimeVal end = _clock.now() + TimeVal(seconds, 0), delay;
        while (_loop.timer_list().get_next_delay(delay) && _clock.now() + delay <= end)
            _loop.run();
        _clock.set_time(end);
        auto count = [](const std::vector<std::string>& lines, const std::string& head) {
            return std::to_string(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) {
                return l.compare(0, head.size(), head) == 0; }));
        };
        std::string runs = count(journal(), "ping ");
        for (const char* job : {"fan_controller", "rpsu_controller", "syslog_rpsu_info", "syslog_sfp_info",
                                "execute_command /vela"})
            runs += " " + count(journal(VELA_LOG), job);
        return runs;
    }

    VirtualClock _clock;
    EventLoop    _loop{&_clock};
};

TEST_F(TimersTest, TenMinutesBetweenStates8And10)
{
    _login->set_tacacs_server(IPv4("10.99.0.2"));
    // Other states start nothing; 10 twice after 8 leaves nothing, not even the one-shot.
    for (uint32_t s : {0u, 9u, 10u, 11u, 8u, 10u, 10u})
        state(s);
    EXPECT_EQ("1 0 0 0 0 0", run(600));
    state(8);
    EXPECT_EQ("61 2 1 10 10 10", run(600));
    EXPECT_EQ("syslog_rpsu_info", journal(VELA_LOG).at(1));
}

TEST_F(TimersTest, SecondState8StartsEveryTimerOver)
{
    _login->set_tacacs_server(IPv4("10.99.0.2"));
    state(8);
    run(3);
    state(8);           // the first one's one-shot at 5 s and pass at 10 s are gone
    EXPECT_EQ("1 0 1 0 0 0", run(9));
    EXPECT_EQ("6 0 1 0 0 0", run(48));
    EXPECT_EQ("7 0 1 1 1 1", run(3));
}

TEST_F(TimersTest, FailedPassEndsOnlyTheLivenessTimer)
{
    // The first pass writes the file: a directory in its place fails it.
    unlink("/tmp/system/tac_live_servers");
    ASSERT_EQ(0, mkdir("/tmp/system/tac_live_servers", 0755));
    LogCapture log;
    state(8);
    run(10);
    ASSERT_EQ(0, rmdir("/tmp/system/tac_live_servers"));
    EXPECT_NE(std::string::npos, log.lines().at(0).find(" login_main.cc tac_live Open /tmp/system/tac_live_servers error."));
    _login->set_tacacs_server(IPv4("10.99.0.2"));
    EXPECT_EQ("1 2 1 10 10 10", run(590));
    state(8);           // starts it anew
    EXPECT_EQ("2 2 2 10 10 10", run(10));
}

} // namespace
} // namespace daemon_test
