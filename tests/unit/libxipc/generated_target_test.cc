// The generated target base: registration, strict argument unpacking and
// outputs.

#include <gtest/gtest.h>

#include "echo_server.hh"

namespace {

class CountingMap : public XrlCmdMap {
public:
    explicit CountingMap(const std::string& name) : XrlCmdMap(name) {}
    void finalize() override
    {
        finalizes++;
        XrlCmdMap::finalize();
    }
    int finalizes = 0;
};

class GeneratedTargetTest : public ::testing::Test {
protected:
    GeneratedTargetTest() : map("echo_server"), server(&map) {}

    // Dispatches the XRL text; returns the error text or "OK <reply args>".
    std::string call(const char* xrl)
    {
        XrlArgs out;
        XrlError e = map.dispatch(Xrl(xrl), &out);
        return e.isOK() ? "OK " + out.str() : e.str();
    }

    CountingMap map;
    EchoServer server;
};

TEST_F(GeneratedTargetTest, RegistersEveryMethodAndFinalizesOnce)
{
    std::list<std::string> names;
    map.get_command_names(names);
    EXPECT_EQ((std::list<std::string>{
                  "echo/1.2/add", "echo/1.2/describe", "echo/1.2/fail",
                  "echo/1.2/keywords", "echo/1.2/maybe", "echo/1.2/ping",
                  "echo/1.2/sum_list", "test_events/0.1/notify",
                  "test_events/0.1/ping" }),
              names);
    EXPECT_EQ(1, map.finalizes);
    EXPECT_EQ("echo_server", server.get_name());
    EXPECT_STREQ("echo_server/0.0", server.version());
    EXPECT_FALSE(server.set_command_map(&map));
}

TEST_F(GeneratedTargetTest, UnboundBaseRegistersLaterAndLeavesOnDestruction)
{
    CountingMap other("other");
    {
        EchoServer unbound;
        EXPECT_EQ("echo_server", unbound.get_name());
        EXPECT_TRUE(unbound.set_command_map(&other));
        EXPECT_EQ("other", unbound.get_name());
        EXPECT_EQ(9u, other.count_handlers());
        EXPECT_EQ(1, other.finalizes);
    }
    EXPECT_EQ(0u, other.count_handlers());
    XrlArgs out;
    EXPECT_EQ(NO_SUCH_METHOD,
              other.dispatch("echo/1.2/ping", XrlArgs(), &out).error_code());
}

TEST_F(GeneratedTargetTest, GoodCallsReachTheMethodAndReturnOutputs)
{
    // Every type and the keyword names: generated_client_test, through this base.
    errno = EACCES;
    EXPECT_EQ("OK ", call("finder://echo_server/echo/1.2/ping"));
    EXPECT_EQ(0, server.errno_at_ping);
    // Arguments are matched by name, in any order.
    EXPECT_EQ("OK sum:i32=3", call("echo_server/echo/1.2/add?b:i32=1&a:i32=2"));
    EXPECT_EQ("OK total:u32=0&count:u32=0",
              call("finder://echo_server/echo/1.2/sum_list?values:list="));
    // The prefixed interface reaches its own methods.
    EXPECT_EQ("OK ", call("finder://echo_server/test_events/0.1/ping"));
    EXPECT_EQ("OK ", call("finder://echo_server/test_events/0.1/notify?what:txt=up"));
    EXPECT_EQ((std::vector<std::string>{ "ping", "add", "sum_list",
                                         "events ping", "events notify up" }),
              server.calls);
}

TEST_F(GeneratedTargetTest, WrongArgumentsGiveBadArgsWithoutACall)
{
    struct { const char* xrl; const char* error; } cases[] = {
        { "echo_server/echo/1.2/add?a:i32=1",
          "101 Bad argument(s) expected a:i32 & b:i32; missing b" },
        { "echo_server/echo/1.2/add",
          "101 Bad argument(s) expected a:i32 & b:i32; missing a, missing b" },
        { "echo_server/echo/1.2/add?a:i32=1&b:i32=2&c:i32=3",
          "101 Bad argument(s) expected a:i32 & b:i32; unexpected c:i32" },
        { "echo_server/echo/1.2/add?a:i32=1&B:i32=2",
          "101 Bad argument(s) expected a:i32 & b:i32; missing b, unexpected B:i32" },
        { "echo_server/echo/1.2/add?a:i32=1&b:u32=2",
          "101 Bad argument(s) expected a:i32 & b:i32; b is u32" },
        { "echo_server/echo/1.2/add?a:i32=1&b:i32",
          "101 Bad argument(s) expected a:i32 & b:i32; b has no value" },
        { "echo_server/echo/1.2/ping?x:u32=1",
          "101 Bad argument(s) expected no arguments; unexpected x:u32" },
        { "echo_server/echo/1.2/sum_list?values:list=:txt=a",
          "101 Bad argument(s) expected values:list<u32>; values holds txt" },
        { "echo_server/echo/1.2/ping?:txt=x",
          "101 Bad argument(s) expected no arguments; unexpected :txt" },
        { "echo_server/echo/1.2/pong",
          "202 No such method echo/1.2/pong" },
        { "echo_server/echo/1.3/ping",
          "202 No such method echo/1.3/ping" },
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.error, call(c.xrl)) << c.xrl;
    EXPECT_TRUE(server.calls.empty());
}

TEST_F(GeneratedTargetTest, FailuresPassThroughAndOutputsAreFreshEachCall)
{
    EXPECT_EQ("102 Command failed Set user class failed, no such user",
              call("echo_server/echo/1.2/fail?reason:txt=Set+user+class+failed%2C+no+such+user"));
    EXPECT_EQ("OK value:txt=set", call("echo_server/echo/1.2/maybe?set:bool=true"));
    EXPECT_EQ("OK value:txt=", call("echo_server/echo/1.2/maybe?set:bool=false"));
}

}  // namespace
