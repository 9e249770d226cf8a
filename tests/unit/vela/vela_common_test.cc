#include "vela/vela_common.hh"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

class VelaTest : public ::testing::Test {
protected:
    void SetUp() override {
        char dir[] = "/tmp/vela_test.XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(dir));
        _dir = dir;
        _log = _dir + "/vela_common.log";
        setenv("VELA_COMMON_LOG", _log.c_str(), 1);
    }
    void TearDown() override {
        unsetenv("VELA_COMMON_LOG");
        std::remove(_log.c_str());
        std::remove((_dir + "/ran").c_str());
        rmdir(_dir.c_str());
    }
    static std::string read(const std::string& path) {
        std::stringstream s;
        s << std::ifstream(path).rdbuf();
        return s.str();
    }

    std::string _dir, _log;
};

TEST_F(VelaTest, ExecuteCommandRunsProgramAndReturnsItsStatus)
{
    std::string marker = _dir + "/ran";
    EXPECT_EQ(0, execute_command("/bin/sh", {"-c", "echo -n ok > " + marker}, false, false));
    EXPECT_EQ("ok", read(marker));

    EXPECT_EQ(3, execute_command("/bin/sh", {"-c", "exit 3"}, false, false));
    errno = EPERM;
    EXPECT_EQ(-1, execute_command("/nonexistent/ntp", {"start"}, false, false));
    EXPECT_EQ(EPERM, errno);  // the daemon's errno is not disturbed

    EXPECT_EQ("execute_command /bin/sh -c echo -n ok > " + marker +
                  "\nexecute_command /bin/sh -c exit 3\n"
                  "execute_command /nonexistent/ntp start\n",
              read(_log));
}

}  // namespace
