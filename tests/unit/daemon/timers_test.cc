// Card states and the five job timers over minutes of virtual time. A `ping`
// that prints nothing comes first on PATH: a pass is one quick journal line.

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

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

    static void hold() {}

    // Lets a pass under way end in real time: a timer that is due keeps the
    // loop from jumping ahead in virtual time to the pass's bound.
    void settle()
    {
        for (int ms = 0; _login->tac_pass_running(); ++ms) {
            ASSERT_LT(ms, 30000) << "a pass never ended";
            XorpTimer due = _loop.new_oneoff_after(TimeVal::ZERO(), callback(&hold));
            poll(nullptr, 0, 1);
            _loop.run();
        }
    }

    // Turns the loop through `seconds` of virtual time; gives the runs so far
    // of the pass, fan, rpsu, the two syslog calls and temperature.
    std::string run(int seconds)
    {
        TimeVal end = _clock.now() + TimeVal(seconds, 0), delay;
        settle();
        while (_loop.timer_list().get_next_delay(delay) && _clock.now() + delay <= end) {
            _loop.run();
            settle();
        }
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
    // 10 twice after 8 leaves nothing, not even the one-shot; other states start nothing.
    for (uint32_t s : {8u, 10u, 10u, 0u, 9u, 11u, 7u, 0xffffffffu})
        state(s);
    EXPECT_EQ("1 0 0 0 0 0", run(600));
    // Once started, only 10 stops them.
    for (uint32_t s : {8u, 9u, 11u, 0u, 7u, 0xffffffffu})
        state(s);
    EXPECT_EQ("25 1 1 4 4 4", run(240));
    EXPECT_EQ("61 2 1 10 10 10", run(360));
    EXPECT_EQ("syslog_rpsu_info", journal(VELA_LOG).at(1));
}

TEST_F(TimersTest, SecondState8StartsEveryTimerOver)
{
    _login->set_tacacs_server(IPv4("10.99.0.2"));
    state(8);
    run(3);
    state(8);           // the first one's one-shot at 5 s and pass at 10 s are gone
    EXPECT_EQ("1 0 0 0 0 0", run(4));
    EXPECT_EQ("1 0 1 0 0 0", run(1));
    EXPECT_EQ("1 0 1 0 0 0", run(4));
    EXPECT_EQ("6 0 1 0 0 0", run(48));
    EXPECT_EQ("7 0 1 1 1 1", run(3));
}

TEST_F(TimersTest, FailedWriteIsMadeGoodByTheNextTimerPass)
{
    // The first pass writes the file: a directory in its place fails it.
    unlink("/tmp/system/tac_live_servers");
    ASSERT_EQ(0, mkdir("/tmp/system/tac_live_servers", 0755));
    LogCapture log;
    state(8);
    run(10);
    ASSERT_EQ(0, rmdir("/tmp/system/tac_live_servers"));
    EXPECT_NE(std::string::npos, log.lines().at(0).find(" login_main.cc tac_live Open /tmp/system/tac_live_servers error."));
    run(10);            // the timer lives on, and its next pass writes the file
    struct stat st;
    EXPECT_EQ(0, stat("/tmp/system/tac_live_servers", &st));
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(1u, log.lines().size());
    _login->set_tacacs_server(IPv4("10.99.0.2"));
    EXPECT_EQ("59 2 1 10 10 10", run(580));
}

TEST_F(TimersTest, LineThatNeverEndsIsKilledAtTheBound)
{
    auto sleepers = [] { return system("pgrep -f '^sleep 600' >/dev/null") == 0; };
    ASSERT_EQ(0, system("printf '#!/bin/sh\\nexec sleep 600\\n' >/tmp/quiet/ping"));
    _login->set_tacacs_server(IPv4("10.99.0.2"));
    for (int i = 0; i < 3000 && !sleepers(); ++i)
        poll(nullptr, 0, 10);
    ASSERT_TRUE(sleepers());
    TimeVal start = _clock.now();
    while (_login->tac_pass_running())
        _loop.run();            // nothing ends: virtual time runs to the bound
    EXPECT_EQ(TimeVal(5, 0), _clock.now() - start);
    for (int i = 0; i < 3000 && sleepers(); ++i)
        poll(nullptr, 0, 10);
    EXPECT_FALSE(sleepers());
    EXPECT_EQ(0, system("test ! -s /tmp/system/tac_live_servers"));
}

} // namespace
} // namespace daemon_test
