// Routers and a finder in one process, over real loopback sockets: sends,
// answers, errors, finder events, lost peers, lost finders, bad input.

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "libxipc/finder_server.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_std_router.hh"
#include "raw_peer.hh"

namespace {

struct Answer {
    bool	got = false;
    int		calls = 0;
    XrlError	err;
    bool	null_args = false;
    std::string	args;

    void take(const XrlError& e, XrlArgs* a) {
	got = true;
	calls++;
	err = e;
	null_args = (a == NULL);
	args = a != NULL ? a->str() : std::string();
    }
    XrlSender::Callback cb() { return callback(this, &Answer::take); }
};

// What a target's handlers saw.
struct Server {
    int		calls = 0;
    int		errno_at_start = -1;
    std::vector<std::string> events;

    const XrlCmdError echo(const XrlArgs& in, XrlArgs* out) {
	calls++;
	errno_at_start = errno;
	errno = EIO;		// must not leak into the next handler
	out->add("out", in.get_string("in"));
	return XrlCmdError::OKAY();
    }
    const XrlCmdError refuse(const XrlArgs&, XrlArgs* out) {
	out->add("ignored", std::string("x"));
	return XrlCmdError::COMMAND_FAILED("no way");
    }
    // As a strict handler does for a call with very many wrong arguments.
    const XrlCmdError refuse_at_length(const XrlArgs&, XrlArgs*) {
	return XrlCmdError::BAD_ARGS("unexpected " + std::string(1536 * 1024, 'x'));
    }
    const XrlCmdError explode(const XrlArgs&, XrlArgs*) {
	throw std::runtime_error("boom");
    }
    // Turns the loop (`turn`) between adding to its answer and reading its
    // argument, as a handler waiting for something else would.
    std::function<void()> turn;
    const XrlCmdError turn_loop(const XrlArgs& in, XrlArgs* out) {
	out->add("before", uint32_t(1));
	turn();
	out->add("out", in.get_string("in"));
	return XrlCmdError::OKAY();
    }
    const XrlCmdError birth(const XrlArgs& in, XrlArgs*) { return event("birth ", in); }
    const XrlCmdError death(const XrlArgs& in, XrlArgs*) { return event("death ", in); }
    const XrlCmdError event(const std::string& what, const XrlArgs& in) {
	events.push_back(what + in.get_string("target_class") + " "
			 + in.get_string("target_instance"));
	return XrlCmdError::OKAY();
    }
    const XrlCmdError any(const std::string& cmd, const XrlArgs& in,
			  XrlArgs* out) {
	out->add("cmd", cmd);
	out->add("n", uint32_t(in.size()));
	return XrlCmdError::OKAY();
    }
};

// Registers instance `name` of class `cls` through `raw`, its one method
// test/0.1/wait resolving to 127.0.0.1:port.
void
register_raw(RawPeer& raw, const std::string& cls, const std::string& name,
	     uint16_t port)
{
    const std::string f = "finder://finder/finder/0.2/";
    EXPECT_EQ(0u, raw.ask(f + "register_finder_client?instance_name:txt=" + name
			  + "&class_name:txt=" + cls + "&singleton:bool=false"
			  "&in_cookie:txt=").find("100 / \nout_cookie:txt="));
    EXPECT_EQ(0u, raw.ask(f + "add_xrl?xrl:txt=finder://" + name
			  + "/test/0.1/wait&protocol_name:txt=stcp"
			  "&protocol_args:txt=127.0.0.1:" + std::to_string(port))
	      .find("100 / \nresolved_xrl_method_name:txt=test/0.1/wait-"));
    EXPECT_EQ("100 / \n", raw.ask(f + "set_finder_client_enabled?instance_name:txt="
				  + name + "&enabled:bool=true"));
}

class Transport : public ::testing::Test {
protected:
    Transport() : finder(new FinderServer(e, 0)) {}

    std::unique_ptr<XrlStdRouter> router(const char* cls) {
	return std::unique_ptr<XrlStdRouter>(
	    new XrlStdRouter(e, cls, "127.0.0.1", finder->port(), false));
    }
    bool run_until(const std::function<bool()>& done) { return ::run_until(e, done); }
    bool ready(XrlRouter& r) {
	r.finalize();
	return run_until([&] { return r.ready(); });
    }
    // Target "srv" (echo, refuse, refuse_at_length) and a client "cli", ready.
    bool start() {
	target = router("srv");
	target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
	target->add_handler("test/0.1/refuse", callback(&srv, &Server::refuse));
	target->add_handler("test/0.1/refuse_at_length",
			    callback(&srv, &Server::refuse_at_length));
	client = router("cli");
	return ready(*target) && ready(*client);
    }
    Answer call(XrlRouter& from, const Xrl& x) {
	Answer a;
	EXPECT_TRUE(from.send(x, a.cb()));
	EXPECT_TRUE(run_until([&] { return a.got; }));
	return a;
    }

    EventLoop e;
    std::unique_ptr<FinderServer> finder;
    Server srv;
    std::unique_ptr<XrlStdRouter> target, client;
};

TEST_F(Transport, CallsReachHandlersByClassOrInstanceAndAnswersComeBack)
{
    ASSERT_TRUE(finder->listening()) << finder->error();
    ASSERT_TRUE(start());
    EXPECT_NE(target->instance_name(), client->instance_name());
    EXPECT_EQ(0u, target->instance_name().find("srv-"));
    EXPECT_EQ(std::string("srv").size() + 1 + 32 + 10,
	      target->instance_name().size());
    // A command is registered once: the first handler stays.
    EXPECT_FALSE(target->add_handler("test/0.1/echo", callback(&srv, &Server::refuse)));

    Answer a = call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=a+b%26c"));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ("out:txt=a+b%26c", a.args);

    errno = EBADF;
    a = call(*client, Xrl((target->instance_name() + "/test/0.1/echo?in:txt=x").c_str()));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ("out:txt=x", a.args);
    EXPECT_EQ(2, srv.calls);
    EXPECT_EQ(0, srv.errno_at_start);

    a = call(*client, Xrl("finder://srv/test/0.1/refuse"));
    EXPECT_EQ(COMMAND_FAILED, a.err.error_code());
    EXPECT_EQ("no way", a.err.note());
    EXPECT_TRUE(a.null_args);
    EXPECT_EQ(1, a.calls);

    // A long error note reaches the caller whole.
    a = call(*client, Xrl("finder://srv/test/0.1/refuse_at_length"));
    EXPECT_EQ(BAD_ARGS, a.err.error_code()) << a.err.str().substr(0, 80);
    EXPECT_EQ(11u + 1536 * 1024, a.err.note().size());

    // The finder link takes 65536 bytes a message; STCP has no such limit.
    XrlArgs big;
    big.add("in", std::string(2 * 1024 * 1024, 'a'));
    Answer refused;
    EXPECT_FALSE(client->send(Xrl("finder", "common/0.1/get_status", big), refused.cb()));
    EXPECT_FALSE(refused.got);
    a = call(*client, Xrl("srv", "test/0.1/echo", big));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ(2u * 1024 * 1024 + 8, a.args.size());

    // A router may call itself.
    a = call(*target, Xrl("finder://srv/test/0.1/echo?in:txt=self"));
    EXPECT_EQ("out:txt=self", a.args);
    EXPECT_FALSE(client->pending());

    // A handler removed, or another put in its place, is what the next call
    // meets, however often the method was called before.
    ASSERT_TRUE(target->remove_handler("test/0.1/echo"));
    EXPECT_EQ(NO_SUCH_METHOD, call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=x"))
	      .err.error_code());
    ASSERT_TRUE(target->add_handler("test/0.1/echo", callback(&srv, &Server::refuse)));
    EXPECT_EQ(COMMAND_FAILED, call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=x"))
	      .err.error_code());
}

TEST_F(Transport, UnknownTargetsAndMethodsAreResolveFailures)
{
    auto unfinished = router("late");	// connected, never finalized
    ASSERT_TRUE(start());
    for (const char* x : { "finder://nobody/test/0.1/echo", "finder://srv/test/0.1/missing",
			   "finder://srv/test/0.2/echo", "finder://late/test/0.1/echo" })
	EXPECT_EQ(RESOLVE_FAILED, call(*client, Xrl(x)).err.error_code()) << x;
    EXPECT_EQ(NO_SUCH_METHOD, call(*client, Xrl("finder://finder/common/0.1/nothing")).err.error_code());
    EXPECT_EQ(0, srv.calls);
    EXPECT_EQ("name:txt=finder", call(*client, Xrl("finder://finder/common/0.1/get_target_name")).args);
}

TEST_F(Transport, CatchAllHandlerAnswersAnyMethodAndBadHandlersDoNotKillTheRouter)
{
    auto any = router("any");
    any->add_handler("test/0.1/explode", callback(&srv, &Server::explode));
    any->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    any->set_catch_all_handler(callback(&srv, &Server::any));
    auto cli = router("cli");
    ASSERT_TRUE(ready(*any));
    ASSERT_TRUE(ready(*cli));

    Answer a = call(*cli, Xrl("finder://any/whatever/1.0/thing?a:u32=1&b:bool=true"));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ("cmd:txt=whatever/1.0/thing&n:u32=2", a.args);

    a = call(*cli, Xrl("finder://any/test/0.1/explode"));
    EXPECT_EQ(INTERNAL_ERROR, a.err.error_code());
    EXPECT_NE(std::string::npos, a.err.note().find("boom"));

    // A handler that meets arguments it did not expect throws too.
    a = call(*cli, Xrl("finder://any/test/0.1/echo?wrong:u32=1"));
    EXPECT_EQ(INTERNAL_ERROR, a.err.error_code());

    a = call(*cli, Xrl("finder://any/test/0.1/echo?in:txt=still+here"));
    EXPECT_EQ("out:txt=still+here", a.args);
}
TEST_F(Transport, ObserversHearOfLiveInstancesAtOnceThenBirthsAndDeaths)
{
    auto first = router("mod");
    ASSERT_TRUE(ready(*first));
    auto obs = router("obs");
    obs->add_handler("finder_event_observer/0.1/xrl_target_birth",
		     callback(&srv, &Server::birth));
    obs->add_handler("finder_event_observer/0.1/xrl_target_death",
		     callback(&srv, &Server::death));
    ASSERT_TRUE(ready(*obs));

    const std::string reg = "finder://finder/finder_event_notifier/0.1/"
	"register_class_event_interest?requester_instance:txt=";
    Answer a = call(*obs, Xrl((reg + obs->instance_name() + "&class_name:txt=mod").c_str()));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    ASSERT_TRUE(run_until([&] { return srv.events.size() == 1; }));
    EXPECT_EQ("birth mod " + first->instance_name(), srv.events[0]);

    // Only the caller itself may register.
    a = call(*obs, Xrl((reg + first->instance_name() + "&class_name:txt=obs").c_str()));
    EXPECT_EQ(COMMAND_FAILED, a.err.error_code());
    EXPECT_EQ("failed (not originator).", a.err.note());
    a = call(*obs, Xrl((reg + obs->instance_name() + "&class_name:txt=none").c_str()));
    EXPECT_TRUE(a.err.isOK());

    auto second = router("mod");
    std::string second_name = second->instance_name();
    ASSERT_TRUE(ready(*second));
    ASSERT_TRUE(run_until([&] { return srv.events.size() == 2; }));
    EXPECT_EQ("birth mod " + second_name, srv.events[1]);

    // The class name goes to the oldest live instance; when it dies, the next.
    second.reset();
    ASSERT_TRUE(run_until([&] { return srv.events.size() == 3; }));
    EXPECT_EQ("death mod " + second_name, srv.events[2]);
    std::string first_name = first->instance_name();
    first.reset();
    ASSERT_TRUE(run_until([&] { return srv.events.size() == 4; }));
    EXPECT_EQ("death mod " + first_name, srv.events[3]);
    EXPECT_EQ(RESOLVE_FAILED, call(*obs, Xrl("finder://mod/common/0.1/get_status")).err.error_code());
}

// A target that dies is noticed at once, and the next call resolves again:
// the class goes to the oldest instance still alive, which may be a new one.
TEST_F(Transport, ClassNameGoesToTheOldestLiveInstanceAfterATargetDies)
{
    client = router("cli");
    auto one = router("mod");
    Server s1, s2, s3;
    one->add_handler("test/0.1/echo", callback(&s1, &Server::echo));
    ASSERT_TRUE(ready(*one));
    auto two = router("mod");
    two->add_handler("test/0.1/echo", callback(&s2, &Server::echo));
    ASSERT_TRUE(ready(*two));
    ASSERT_TRUE(ready(*client));
    call(*client, Xrl("finder://mod/test/0.1/echo?in:txt=1"));
    EXPECT_EQ(1, s1.calls);
    // Sent on the kept connection before anyone noticed the death.
    one.reset();
    EXPECT_EQ(SEND_FAILED, call(*client, Xrl("finder://mod/test/0.1/echo?in:txt=2")).err.error_code());
    Answer a = call(*client, Xrl("finder://mod/test/0.1/echo?in:txt=3"));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ(1, s2.calls);

    // The same class restarts: calls reach the new process.
    two.reset();
    auto three = router("mod");
    three->add_handler("test/0.1/echo", callback(&s3, &Server::echo));
    ASSERT_TRUE(ready(*three));
    bool ok = false;
    ASSERT_TRUE(run_until([&] {
	return ok || (ok = call(*client, Xrl("finder://mod/test/0.1/echo?in:txt=4")).err.isOK());
    }));
    EXPECT_EQ(1, s3.calls);
}

// A target registered by hand whose listener accepts and never answers,
// then dies with calls outstanding; one whose listener is gone.
TEST_F(Transport, TargetThatStallsDiesOrRefusesFailsTheCalls)
{
    client = router("cli");
    ASSERT_TRUE(ready(*client));
    RawListener listener;
    RawPeer reg(e, finder->port());
    register_raw(reg, "stall", "stall-1@127.0.0.1", listener.port);

    // Unanswered in time: REPLY_TIMED_OUT, once.
    client->set_reply_timeout(TimeVal(0, 200000));
    Answer late = call(*client, Xrl("finder://stall/test/0.1/wait"));
    EXPECT_EQ(REPLY_TIMED_OUT, late.err.error_code());
    client->set_reply_timeout(TimeVal(30, 0));

    RawPeer conn(e, accept(listener.fd, NULL, NULL));
    std::string packet;
    ASSERT_TRUE(conn.read_frame(packet, 24));	// the timed-out request
    Answer a[3];
    for (Answer& x : a)
	ASSERT_TRUE(client->send(Xrl("finder://stall/test/0.1/wait"), x.cb()));
    for (int i = 0; i < 3; i++)
	ASSERT_TRUE(conn.read_frame(packet, 24));
    EXPECT_TRUE(client->pending());
    conn.shut();
    ASSERT_TRUE(run_until([&] { return a[0].got && a[1].got && a[2].got; }));
    for (Answer& x : a)
	EXPECT_EQ(SEND_FAILED, x.err.error_code());
    EXPECT_EQ(1, late.calls);
    EXPECT_FALSE(client->pending());

    // Resolved again, to a listener that is gone: refused, SEND_FAILED.
    close(listener.fd);
    listener.fd = -1;
    Answer refused = call(*client, Xrl("finder://stall/test/0.1/wait"));
    EXPECT_EQ(SEND_FAILED, refused.err.error_code());
    EXPECT_NE(std::string::npos, refused.err.note().find("refused"));

    // Silent: a target that answers nothing, not even the keepalive, is
    // dropped after two periods and its call fails long before its timeout.
    setenv("XORP_SENDER_KEEPALIVE_TIME", "1", 1);
    RawListener mute;
    RawPeer reg_mute(e, finder->port());
    register_raw(reg_mute, "mute", "mute-1@127.0.0.1", mute.port);
    Answer quiet;
    ASSERT_TRUE(client->send(Xrl("finder://mute/test/0.1/wait"), quiet.cb()));
    EXPECT_TRUE(run_until([&] { return quiet.got; }));
    unsetenv("XORP_SENDER_KEEPALIVE_TIME");
    EXPECT_EQ(SEND_FAILED, quiet.err.error_code());

    // The other way round: a caller that sends nothing is closed by the
    // target's listener after two periods.
    struct NoHandlers : StcpDispatcher {
	XrlError stcp_dispatch(const std::string&, const XrlArgs&, XrlArgs&) override {
	    return XrlError::OKAY();
	}
    } none;
    StcpListener idle(e, none);
    setenv("XORP_LISTENER_KEEPALIVE_TIMEOUT", "1", 1);
    ASSERT_TRUE(idle.listen("127.0.0.1"));
    unsetenv("XORP_LISTENER_KEEPALIVE_TIMEOUT");
    RawPeer caller(e, uint16_t(atoi(idle.address().substr(idle.address().find(':') + 1).c_str())));
    ASSERT_TRUE(run_until_readable(e, caller.fd()));
    char byte;
    EXPECT_EQ(0, read(caller.fd(), &byte, 1)) << "closed by the listener";
}

// A handler may turn the loop, and calls that arrive meanwhile are answered
// without touching its arguments, its answer or its caller's connection.
TEST_F(Transport, HandlerThatTurnsTheLoopKeepsItsCallWhileOthersAreAnswered)
{
    auto t = router("turns");
    t->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    t->add_handler("test/0.1/turn", callback(&srv, &Server::turn_loop));
    std::unique_ptr<XrlStdRouter> outer = router("outer"), inner = router("inner");
    ASSERT_TRUE(ready(*t) && ready(*outer) && ready(*inner));
    const Xrl echo("finder://turns/test/0.1/echo?in:txt=inner");
    ASSERT_EQ("out:txt=inner", call(*inner, echo).args);

    // Another caller's call, and the same caller's, while the handler waits.
    std::vector<Answer> during(2);
    srv.turn = [&] {
	EXPECT_TRUE(inner->send(echo, during[0].cb()));
	EXPECT_TRUE(outer->send(Xrl("finder://turns/test/0.1/echo?in:txt=same"),
				during[1].cb()));
	EXPECT_TRUE(run_until([&] { return during[0].got && during[1].got; }));
    };
    Answer a = call(*outer, Xrl("finder://turns/test/0.1/turn?in:txt=outer"));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ("before:u32=1&out:txt=outer", a.args);
    EXPECT_EQ("out:txt=inner", during[0].args);
    EXPECT_EQ("out:txt=same", during[1].args);

    // The caller goes while the handler waits: its connection is closed
    // under the handler, and deleted only once the handler is done.
    Answer lost;
    srv.turn = [&] {
	outer.reset();
	during[0] = Answer();
	EXPECT_TRUE(inner->send(echo, during[0].cb()));
	EXPECT_TRUE(run_until([&] { return during[0].got; }));
	EXPECT_EQ("out:txt=inner", call(*inner, echo).args);
    };
    ASSERT_TRUE(outer->send(Xrl("finder://turns/test/0.1/turn?in:txt=gone"), lost.cb()));
    ASSERT_TRUE(run_until([&] { return outer == nullptr; }));
    EXPECT_EQ("out:txt=inner", call(*inner, echo).args);
}

// Unlike XORP's, routers reconnect and register again whenever the finder
// comes back; calls between processes do not need it.
TEST_F(Transport, RoutersComeBackWhenTheFinderReturns)
{
    uint16_t port = finder->port();
    ASSERT_TRUE(start());
    call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=x"));

    // Lose the finder while a call is under way and one waits for it.
    Answer a, f;
    ASSERT_TRUE(client->send(Xrl("finder://srv/test/0.1/echo?in:txt=y"), a.cb()));
    ASSERT_TRUE(client->send(Xrl("finder://finder/common/0.1/get_status"), f.cb()));
    finder.reset();
    ASSERT_TRUE(run_until([&] { return a.got && f.got; }));
    EXPECT_EQ("out:txt=y", a.args);
    EXPECT_EQ(SEND_FAILED, f.err.error_code());
    ASSERT_TRUE(run_until([&] { return !client->ready() && !target->ready(); }));
    EXPECT_FALSE(client->send(Xrl("finder://srv/test/0.1/echo?in:txt=z"), a.cb()));

    finder.reset(new FinderServer(e, port));
    ASSERT_TRUE(finder->listening()) << finder->error();
    ASSERT_TRUE(run_until([&] { return target->ready() && client->ready(); }));
    a = call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=again"));
    EXPECT_EQ("out:txt=again", a.args);
}

}  // namespace
