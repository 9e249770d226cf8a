// XrlCmdMap: registration and dispatch, as a router uses it.

#include "libxipc/xrl_cmd_map.hh"

#include <cerrno>

#include <gtest/gtest.h>

namespace {

class Handlers {
public:
    const XrlCmdError echo(const XrlArgs& in, XrlArgs* out)
    {
        errno_seen = errno;
        calls++;
        out->add("copy", in.get_string("text"));
        return XrlCmdError::OKAY();
    }
    const XrlCmdError fail(const XrlArgs&, XrlArgs* out)
    {
        out->add("partial", uint32_t(1));      // must not reach the caller
        return XrlCmdError::COMMAND_FAILED("System set hostname failed.");
    }

    int calls = 0;
    int errno_seen = -1;
};

class XrlCmdMapTest : public ::testing::Test {
protected:
    XrlCmdMapTest() : map("login")
    {
        EXPECT_TRUE(map.add_handler("test/0.1/echo", callback(&h, &Handlers::echo)));
        EXPECT_TRUE(map.add_handler("test/0.1/fail", callback(&h, &Handlers::fail)));
    }

    Handlers h;
    XrlCmdMap map;
};

TEST_F(XrlCmdMapTest, RegistersOncePerCommand)
{
    EXPECT_EQ("login", map.name());
    EXPECT_FALSE(map.add_handler("test/0.1/echo", callback(&h, &Handlers::fail)));
    EXPECT_FALSE(map.add_handler("test/0.1/other", XrlRecvSyncCallback()));
    EXPECT_EQ(2u, map.count_handlers());
    std::list<std::string> names;
    map.get_command_names(names);
    EXPECT_EQ((std::list<std::string>{ "test/0.1/echo", "test/0.1/fail" }), names);
    ASSERT_NE(nullptr, map.get_handler("test/0.1/echo"));
    EXPECT_EQ("test/0.1/echo", map.get_handler("test/0.1/echo")->name());
    EXPECT_EQ(nullptr, map.get_handler("test/0.1/nothing"));

    EXPECT_FALSE(map.finalized());
    map.finalize();
    EXPECT_TRUE(map.finalized());
    EXPECT_TRUE(map.remove_handler("test/0.1/fail"));
    EXPECT_FALSE(map.remove_handler("test/0.1/fail"));
    EXPECT_EQ(1u, map.count_handlers());
}

TEST_F(XrlCmdMapTest, DispatchRunsTheHandlerWithErrnoCleared)
{
    XrlArgs out;
    out.add("stale", uint32_t(9));
    errno = EACCES;
    XrlError e = map.dispatch(Xrl("finder://login/test/0.1/echo?text:txt=hi"), &out);
    EXPECT_TRUE(e.isOK()) << e.str();
    EXPECT_EQ(0, h.errno_seen);
    EXPECT_EQ("copy:txt=hi", out.str());
}

TEST_F(XrlCmdMapTest, DispatchReportsUnknownCommandsAndFailures)
{
    XrlArgs out;
    XrlError e = map.dispatch("test/0.1/missing", XrlArgs(), &out);
    EXPECT_EQ(NO_SUCH_METHOD, e.error_code());
    EXPECT_EQ("202 No such method test/0.1/missing", e.str());
    EXPECT_EQ(0, h.calls);

    e = map.dispatch("test/0.1/fail", XrlArgs(), &out);
    EXPECT_EQ("102 Command failed System set hostname failed.", e.str());
    EXPECT_EQ(0u, out.size());
}

}  // namespace
