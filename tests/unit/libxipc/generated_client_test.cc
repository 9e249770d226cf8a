// Generated clients over an in-process sender: the XRLs they send and the
// decoding of replies. (The daemon's own clients are checked through the
// XRLs its modules receive.)

#include <gtest/gtest.h>

#include "echo_server.hh"
#include "xrl/interfaces/test_echo_xif.hh"

namespace {

// Delivers each XRL through its text form to a command map and answers at
// once; or, when a reply is scripted, answers with that instead.
class LoopbackSender : public XrlSender {
public:
    explicit LoopbackSender(XrlCmdMap* map) : _map(map) {}

    bool send(const Xrl& xrl, const Callback& cb) override
    {
        sent.push_back(xrl.str());
        if (refuse)
            return false;
        if (scripted) {
            cb->dispatch(scripted_error, scripted_null ? nullptr : &scripted_args);
            return true;
        }
        XrlArgs reply;
        XrlError e = _map->dispatch(Xrl(xrl.str().c_str()), &reply);
        cb->dispatch(e, e.isOK() ? &reply : nullptr);
        return true;
    }

    std::vector<std::string> sent;
    bool refuse = false;
    bool scripted = false;
    bool scripted_null = false;
    XrlError scripted_error;
    XrlArgs scripted_args;

private:
    XrlCmdMap* _map;
};

// Keeps what each callback received; "null" stands for a null pointer.
class Replies {
public:
    void on_done(const XrlError& e) { got.push_back(e.str()); }
    void on_add(const XrlError& e, const int32_t* sum)
    {
        got.push_back(e.str() + " " + (sum ? std::to_string(*sum) : "null"));
    }
    void on_text(const XrlError& e, const string* text)
    {
        got.push_back(e.str() + " " + (text ? *text : "null"));
    }
    void on_sum(const XrlError& e, const uint32_t* total, const uint32_t* count)
    {
        got.push_back(e.str() + " " + (total ? std::to_string(*total) : "null")
                      + " " + (count ? std::to_string(*count) : "null"));
    }

    std::vector<std::string> got;
};

class GeneratedClientTest : public ::testing::Test {
protected:
    GeneratedClientTest() : map("echo_server"), server(&map), sender(&map),
                            client(&sender) {}

    XrlCmdMap map;
    EchoServer server;
    LoopbackSender sender;
    XrlEchoV1p2Client client;
    Replies r;
};

TEST_F(GeneratedClientTest, SendsTheCallAndDecodesTheReply)
{
    EXPECT_TRUE(client.send_add("echo_server", -5, 7,
                                callback(&r, &Replies::on_add), false));
    XrlAtomList values;
    values.append(XrlAtom(uint32_t(8)));
    values.append(XrlAtom(uint32_t(10)));
    EXPECT_TRUE(client.send_sum_list("echo_server", values,
                                     callback(&r, &Replies::on_sum)));
    std::vector<uint8_t> blob = { 0, 1, 2 };
    EXPECT_TRUE(client.send_describe("echo_server", false, IPv4("192.0.2.1"),
                                     IPv4Net("192.0.2.0/24"), IPv6("::1"),
                                     IPv6Net("fe80::/10"), 1, -1, blob, "x=y",
                                     callback(&r, &Replies::on_text), false));
    EXPECT_TRUE(client.send_keywords("echo_server", "k", 9,
                                     callback(&r, &Replies::on_text), false));

    EXPECT_EQ((std::vector<std::string>{
                  "finder://echo_server/echo/1.2/add?a:i32=-5&b:i32=7",
                  "finder://echo_server/echo/1.2/sum_list?values:list=:u32=8,:u32=10",
                  "finder://echo_server/echo/1.2/describe?flag:bool=false"
                  "&addr:ipv4=192.0.2.1&net:ipv4net=192.0.2.0/24&addr6:ipv6=::1"
                  "&net6:ipv6net=fe80::/10&big:u64=1&small:i64=-1"
                  "&blob:binary=%00%01%02&label:txt=x%3Dy",
                  "finder://echo_server/echo/1.2/keywords?class:txt=k&cb:u32=9" }),
              sender.sent);
    EXPECT_EQ((std::vector<std::string>{
                  "100 Okay 2",
                  "100 Okay 18 2",
                  "100 Okay false 192.0.2.1 192.0.2.0/24 ::1 fe80::/10 1 -1 3 x=y",
                  "100 Okay k9" }),
              r.got);
}

TEST_F(GeneratedClientTest, ErrorsReachTheCallbackWithoutValues)
{
    EXPECT_TRUE(client.send_fail("echo_server", "denied",
                                 callback(&r, &Replies::on_done), false));
    EXPECT_TRUE(client.send_add("other", 1, 2, callback(&r, &Replies::on_add)));
    EXPECT_EQ((std::vector<std::string>{ "102 Command failed denied",
                                         "100 Okay 3" }),
              r.got);

    sender.scripted = true;
    sender.scripted_error = XrlError::REPLY_TIMED_OUT();
    client.send_add("echo_server", 1, 2, callback(&r, &Replies::on_add));
    EXPECT_EQ("211 Reply timed out null", r.got.back());

    // A refused send returns false and never calls back.
    sender.refuse = true;
    EXPECT_FALSE(client.send_ping("echo_server", callback(&r, &Replies::on_done)));
    EXPECT_EQ(3u, r.got.size());
}

TEST_F(GeneratedClientTest, RepliesWithWrongValuesGiveBadArgs)
{
    // The checks are the target's (generated_target_test); a reply adds "bad reply".
    sender.scripted = true;
    struct { const char* reply; const char* got; } cases[] = {
        { "total:u32=1",
          "101 Bad argument(s) bad reply: expected total:u32 & count:u32; "
          "missing count null null" },
        { "total:u32=5&count:u32=1", "100 Okay 5 1" },
    };
    XrlAtomList none;
    for (const auto& c : cases) {
        sender.scripted_args = XrlArgs(c.reply);
        client.send_sum_list("echo_server", none, callback(&r, &Replies::on_sum));
        EXPECT_EQ(c.got, r.got.back()) << c.reply;
    }

    sender.scripted_null = true;
    client.send_sum_list("echo_server", none, callback(&r, &Replies::on_sum));
    EXPECT_EQ("101 Bad argument(s) bad reply: expected total:u32 & count:u32; "
              "missing total, missing count null null", r.got.back());
    client.send_ping("echo_server", callback(&r, &Replies::on_done));
    EXPECT_EQ("100 Okay", r.got.back());
    EXPECT_TRUE(server.calls.empty());
}

}  // namespace
