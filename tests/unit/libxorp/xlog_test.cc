#include "libxorp/xlog.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Sink {
    std::vector<std::string> lines;
    std::vector<int> levels;
    int answer = 0;
};

int collect(void* obj, xlog_level_t level, const char* msg)
{
    Sink* s = static_cast<Sink*>(obj);
    s->lines.push_back(msg);
    s->levels.push_back(level);
    errno = EBADF;  // as a failed write of a real output would
    return s->answer;
}

const char kWhere[] = "+120 login_main.cc set_ssh_connection_limit";
const std::string kTime = R"(\d{4}/\d{2}/\d{2} \d{2}:\d{2}:\d{2}\.\d{1,6})";

class XlogTest : public ::testing::Test {
protected:
    void SetUp() override {
        xlog_exit();
        ASSERT_EQ(0, xlog_init("/usr/sbin/login", nullptr));
        ASSERT_EQ(0, xlog_add_output_func(collect, &sink));
    }
    void TearDown() override { xlog_exit(); }

    Sink sink;
};

TEST_F(XlogTest, LineOfEachVerbosity)
{
    ASSERT_EQ(0, xlog_start());
    errno = EACCES;
    xlog_fatal("LOGIN", "+185 login_main.cc main", "LoginException: %s", "why");  // and comes back
    xlog_set_verbose(XLOG_VERBOSE_LOW);
    xlog_info("LOGIN", kWhere, "%s\n", "Success");
    xlog_warning("LOGIN", kWhere, "Open %s error.", "/etc/motd");
    xlog_error("LOGIN", "", "no prefix");
    xlog_set_preamble("PRE");
    xlog_set_verbose(XLOG_VERBOSE_MEDIUM);
    xlog_info("LOGIN", kWhere, "m");
    EXPECT_EQ(EACCES, errno);  // logging leaves the caller's errno alone
    const std::string where = R"(\+120 login_main\.cc set_ssh_connection_limit )";
    const std::string expected[] = {
        // Fatal is of high verbosity; an empty preamble leaves a double blank, as XORP does.
        "  FATAL login:" + std::to_string(getpid()) +
            R"( LOGIN \+185 login_main\.cc main \] LoginException: why\n)",
        R"( INFO login LOGIN \] )" + where + R"(Success\n)",
        R"( WARNING login LOGIN \] )" + where + R"(Open /etc/motd error\.\n)",
        R"( ERROR login LOGIN \] no prefix\n)",
        R"( PRE INFO login LOGIN \] \+120 \S+ \S+ m\n)",
    };
    ASSERT_EQ(5u, sink.lines.size());
    for (int i = 0; i < 5; i++)
        EXPECT_TRUE(std::regex_match(sink.lines[i], std::regex(R"(\[ )" + kTime + expected[i])))
            << sink.lines[i];
    EXPECT_EQ((std::vector<int>{XLOG_LEVEL_FATAL, XLOG_LEVEL_INFO, XLOG_LEVEL_WARNING,
                                XLOG_LEVEL_ERROR, XLOG_LEVEL_INFO}),
              sink.levels);
}

TEST_F(XlogTest, LevelsAndFacilityTakeValidNumbersOnly)
{
    ASSERT_EQ(0, xlog_start());
    for (int l = 0; l <= 6; l++)
        EXPECT_EQ(1, xlog_get_level_enabled(l)) << l;
    // "warning": 3..4 off, as the daemon sets a level word.
    EXPECT_EQ(0, xlog_disable(3));
    EXPECT_EQ(0, xlog_disable(4));
    EXPECT_EQ(0, xlog_get_level_enabled(3));
    xlog_info("LOGIN", kWhere, "dropped");
    xlog_warning("LOGIN", kWhere, "kept");
    EXPECT_EQ(0, xlog_enable(3));
    xlog_info("LOGIN", kWhere, "back");
    // Fatal cannot be switched off; numbers outside 0..6 are refused.
    EXPECT_EQ(-1, xlog_disable(0));
    xlog_fatal("LOGIN", kWhere, "still");
    EXPECT_EQ((std::vector<int>{XLOG_LEVEL_WARNING, XLOG_LEVEL_INFO, XLOG_LEVEL_FATAL}), sink.levels);
    for (int bad : {-1, 7}) {
        EXPECT_EQ(std::make_pair(-1, -1), std::make_pair(xlog_enable(bad), xlog_disable(bad))) << bad;
        EXPECT_EQ(0, xlog_get_level_enabled(bad)) << bad;
    }
    // Facilities: syslog's codes only.
    for (int f : {0, 23})
        EXPECT_EQ(0, xlog_set_facility(f)) << f;
    EXPECT_EQ(-1, xlog_set_facility(24));
    EXPECT_EQ(23u, xlog_get_facility());
}

TEST_F(XlogTest, NothingWrittenOutsideStartAndStop)
{
    xlog_error("LOGIN", kWhere, "before start");
    EXPECT_EQ(-1, xlog_stop());
    ASSERT_EQ(0, xlog_start());
    EXPECT_EQ(-1, xlog_start());
    xlog_error("LOGIN", kWhere, "running");
    ASSERT_EQ(0, xlog_stop());
    xlog_error("LOGIN", kWhere, "after stop");
    ASSERT_EQ(0, xlog_exit());
    xlog_fatal("LOGIN", kWhere, "after exit");
    ASSERT_EQ(1u, sink.lines.size());
    EXPECT_NE(std::string::npos, sink.lines[0].find("running"));

    // After exit: no levels, no outputs, and a fresh init is possible.
    EXPECT_EQ(0, xlog_get_level_enabled(1));
    EXPECT_EQ(-1, xlog_start());
    ASSERT_EQ(0, xlog_init("again", nullptr));
    EXPECT_EQ(-1, xlog_init("twice", nullptr));
    ASSERT_EQ(0, xlog_start());
    xlog_error("LOGIN", kWhere, "no output any more");
    EXPECT_EQ(1u, sink.lines.size());
}

TEST_F(XlogTest, StreamOutputsAndFailingFunctions)
{
    FILE* fp = tmpfile();
    ASSERT_NE(nullptr, fp);
    ASSERT_EQ(0, xlog_add_output(fp));
    sink.answer = -1;  // the function output removes itself after one line
    ASSERT_EQ(0, xlog_start());
    xlog_info("LOGIN", kWhere, "one");
    xlog_info("LOGIN", kWhere, "two\n");
    EXPECT_EQ(1u, sink.lines.size());

    rewind(fp);
    char buf[512];
    std::vector<std::string> got;
    while (fgets(buf, sizeof(buf), fp) != nullptr)
        got.push_back(buf);
    ASSERT_EQ(2u, got.size());  // one newline per line, never two
    EXPECT_NE(std::string::npos, got[0].find("set_ssh_connection_limit one\n"));
    EXPECT_NE(std::string::npos, got[1].find("set_ssh_connection_limit two\n"));
    EXPECT_EQ(0, xlog_remove_output(fp));
    EXPECT_EQ(-1, xlog_remove_output(fp));
    fclose(fp);
}

// Stamps past January 2038, also on the 32-bit switch: time_t is 64 bits.
TEST(XlogTime, StampsPast2038)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    const struct { time_t sec; long usec; const char* text; } stamps[] = {
        {2147483647, 0, "2038/01/19 03:14:07.0"},
        {2147483648, 5, "2038/01/19 03:14:08.5"},
        {4102444800, 999999, "2100/01/01 00:00:00.999999"},
    };
    for (const auto& s : stamps) {
        timeval tv = {s.sec, s.usec};
        EXPECT_STREQ(s.text, xlog_time2string(&tv));
    }
}

}  // namespace
