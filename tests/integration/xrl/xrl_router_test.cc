// Routers and a finder in one process, over real loopback sockets: sends,
// answers, errors, finder events, lost peers, lost finders, bad input.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "libxorp/eventloop.hh"
#include "libxipc/finder_server.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_std_router.hh"
#include "libxipc/big_endian.hh"
#include "libxipc/finder_wire.hh"
#include "libxipc/stcp_wire.hh"
#include "libxipc/xrl_args_packing.hh"

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
    const XrlCmdError birth(const XrlArgs& in, XrlArgs*) {
	events.push_back("birth " + in.get_string("target_class") + " "
			 + in.get_string("target_instance"));
	return XrlCmdError::OKAY();
    }
    const XrlCmdError death(const XrlArgs& in, XrlArgs*) {
	events.push_back("death " + in.get_string("target_class") + " "
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

// A blocking socket that speaks XORP's wire protocol by hand: finder link
// frames to the finder, STCP packets to a target.
class RawPeer {
public:
    explicit RawPeer(uint16_t port) : _fd(socket(AF_INET, SOCK_STREAM, 0)) {
	sockaddr_in sin = {};
	sin.sin_family = AF_INET;
	sin.sin_port = htons(port);
	sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	_ok = connect(_fd, reinterpret_cast<sockaddr*>(&sin), sizeof(sin)) == 0;
    }
    explicit RawPeer(int fd) : _fd(fd), _ok(fd >= 0) {}
    // Turns the event loop until the socket is readable (set by the test).
    std::function<bool(int)> wait_readable = [](int) { return true; };
    ~RawPeer() { if (_fd >= 0) close(_fd); }
    bool ok() const { return _ok; }
    int fd() const { return _fd; }
    void send_bytes(const std::string& b) {
	ASSERT_EQ(static_cast<ssize_t>(b.size()), write(_fd, b.data(), b.size()));
    }
    // A finder request; the reply's "<code> / <note>\n<args>" is read back.
    std::string ask(const std::string& xrl) {
	std::string b;
	finderwire::append_request(b, ++_seq, xrl);
	send_bytes(b);
	std::string frame;
	finderwire::Message m;
	while (read_frame(frame, 4)) {
	    if (finderwire::parse(frame.data(), frame.size(), m) && !m.request)
		return std::string(m.body, m.body_len);
	}
	return "closed";
    }
    // One whole frame: a finder link frame (hdr 4) or an STCP packet (24).
    bool read_frame(std::string& frame, size_t hdr) {
	frame.resize(hdr == 4 ? 4 : 24);
	if (!wait_readable(_fd) || !read_all(&frame[0], frame.size()))
	    return false;
	size_t n = hdr == 4 ? get_u32(&frame[0]) : size_t(get_u32(&frame[16])) + get_u32(&frame[20]);
	size_t at = frame.size();
	frame.resize(at + n);
	return read_all(&frame[at], n);
    }
    void shut() { close(_fd); _fd = -1; }
    // True once the connection ended, after reading what came before.
    bool closed_after(size_t& total) {
	wait_readable(_fd);
	char buf[4096];
	ssize_t n;
	total = 0;
	while ((n = read(_fd, buf, sizeof(buf))) > 0)
	    total += n;
	return n == 0;
    }

private:
    bool read_all(char* p, size_t n) {
	while (n > 0) {
	    ssize_t r = read(_fd, p, n);
	    if (r <= 0)
		return false;
	    p += r;
	    n -= static_cast<size_t>(r);
	}
	return true;
    }

    int _fd;
    bool _ok;
    uint32_t _seq = 1000;
};

// A listening socket on 127.0.0.1 that never answers by itself.
struct RawListener {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    uint16_t port = 0;
    RawListener() {
	sockaddr_in sin = {};
	sin.sin_family = AF_INET;
	sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	bind(fd, reinterpret_cast<sockaddr*>(&sin), sizeof(sin));
	listen(fd, 8);
	socklen_t len = sizeof(sin);
	getsockname(fd, reinterpret_cast<sockaddr*>(&sin), &len);
	port = ntohs(sin.sin_port);
    }
    ~RawListener() { close(fd); }
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
    // Turns the loop until `done`; the deadline only guards against a hang.
    bool run_until(const std::function<bool()>& done) {
	bool expired = false;
	XorpTimer guard = e.set_flag_after(TimeVal(10, 0), &expired);
	while (!done() && !expired)
	    e.run();
	return done();
    }
    bool ready(XrlRouter& r) {
	r.finalize();
	return run_until([&] { return r.ready(); });
    }
    // True once the raw socket has something to read (or was closed).
    bool run_until_readable(int fd) {
	return run_until([fd] {
	    pollfd p = { fd, POLLIN, 0 };
	    return poll(&p, 1, 0) == 1;
	});
    }
    std::unique_ptr<RawPeer> raw(uint16_t port) {
	std::unique_ptr<RawPeer> r(new RawPeer(port));
	r->wait_readable = [this](int fd) { return run_until_readable(fd); };
	return r;
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
};

TEST_F(Transport, CallsReachHandlersByClassOrInstanceAndAnswersComeBack)
{
    ASSERT_TRUE(finder->listening()) << finder->error();
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    target->add_handler("test/0.1/refuse", callback(&srv, &Server::refuse));
    target->add_handler("test/0.1/refuse_at_length",
			callback(&srv, &Server::refuse_at_length));
    auto client = router("cli");
    ASSERT_TRUE(ready(*target));
    ASSERT_TRUE(ready(*client));
    EXPECT_NE(target->instance_name(), client->instance_name());
    EXPECT_EQ(0u, target->instance_name().find("srv-"));
    EXPECT_EQ(std::string("srv").size() + 1 + 32 + 10,
	      target->instance_name().size());

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

    // A router may call itself.
    a = call(*target, Xrl("finder://srv/test/0.1/echo?in:txt=self"));
    EXPECT_EQ("out:txt=self", a.args);
    EXPECT_FALSE(client->pending());
}

TEST_F(Transport, UnknownTargetsAndMethodsAreResolveFailures)
{
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    auto client = router("cli");
    auto unfinished = router("late");	// connected, never finalized
    ASSERT_TRUE(ready(*target));
    ASSERT_TRUE(ready(*client));

    EXPECT_EQ(RESOLVE_FAILED, call(*client, Xrl("finder://nobody/test/0.1/echo")).err.error_code());
    EXPECT_EQ(RESOLVE_FAILED, call(*client, Xrl("finder://srv/test/0.1/missing")).err.error_code());
    EXPECT_EQ(RESOLVE_FAILED, call(*client, Xrl("finder://srv/test/0.2/echo")).err.error_code());
    EXPECT_EQ(RESOLVE_FAILED, call(*client, Xrl("finder://late/test/0.1/echo")).err.error_code());
    EXPECT_EQ(NO_SUCH_METHOD, call(*client, Xrl("finder://finder/common/0.1/nothing")).err.error_code());
    EXPECT_EQ(0, srv.calls);

    Answer a = call(*client, Xrl("finder://finder/common/0.1/get_target_name"));
    EXPECT_EQ("name:txt=finder", a.args);
}

TEST_F(Transport, CatchAllHandlerAnswersAnyMethodAndBadHandlersDoNotKillTheRouter)
{
    auto any = router("any");
    any->add_handler("test/0.1/explode", callback(&srv, &Server::explode));
    any->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    any->set_catch_all_handler(callback(&srv, &Server::any));
    auto client = router("cli");
    ASSERT_TRUE(ready(*any));
    ASSERT_TRUE(ready(*client));

    Answer a = call(*client, Xrl("finder://any/whatever/1.0/thing?a:u32=1&b:bool=true"));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ("cmd:txt=whatever/1.0/thing&n:u32=2", a.args);

    a = call(*client, Xrl("finder://any/test/0.1/explode"));
    EXPECT_EQ(INTERNAL_ERROR, a.err.error_code());
    EXPECT_NE(std::string::npos, a.err.note().find("boom"));

    // A handler that meets arguments it did not expect throws too.
    a = call(*client, Xrl("finder://any/test/0.1/echo?wrong:u32=1"));
    EXPECT_EQ(INTERNAL_ERROR, a.err.error_code());

    a = call(*client, Xrl("finder://any/test/0.1/echo?in:txt=still+here"));
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
    auto client = router("cli");
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
    auto client = router("cli");
    ASSERT_TRUE(ready(*client));
    RawListener listener;
    auto reg = raw(finder->port());
    ASSERT_TRUE(reg->ok());
    register_raw(*reg, "stall", "stall-1@127.0.0.1", listener.port);

    // Unanswered in time: REPLY_TIMED_OUT, once.
    client->set_reply_timeout(TimeVal(0, 200000));
    Answer late = call(*client, Xrl("finder://stall/test/0.1/wait"));
    EXPECT_EQ(REPLY_TIMED_OUT, late.err.error_code());
    client->set_reply_timeout(TimeVal(30, 0));

    RawPeer conn(accept(listener.fd, NULL, NULL));
    ASSERT_TRUE(conn.ok());
    conn.wait_readable = [this](int fd) { return run_until_readable(fd); };
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
}

TEST_F(Transport, WithoutFinderSendIsRefusedAndTheRouterGivesUp)
{
    int probe = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in sin = {};
    sin.sin_family = AF_INET;
    sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, bind(probe, reinterpret_cast<sockaddr*>(&sin), sizeof(sin)));
    socklen_t len = sizeof(sin);
    getsockname(probe, reinterpret_cast<sockaddr*>(&sin), &len);
    // Bound but not listening: connections are refused.
    setenv("XORP_FINDER_CONNECT_TIMEOUT_MS", "300", 1);
    XrlStdRouter lonely(e, "lonely", "127.0.0.1", ntohs(sin.sin_port), false);
    unsetenv("XORP_FINDER_CONNECT_TIMEOUT_MS");
    lonely.finalize();
    Answer a;
    EXPECT_FALSE(lonely.send(Xrl("finder://srv/test/0.1/echo"), a.cb()));
    ASSERT_TRUE(run_until([&] { return lonely.failed(); }));
    EXPECT_FALSE(lonely.ready());
    EXPECT_FALSE(a.got);
    close(probe);
}

// Unlike XORP's, routers reconnect and register again whenever the finder
// comes back; calls between processes do not need it.
TEST_F(Transport, RoutersComeBackWhenTheFinderReturns)
{
    uint16_t port = finder->port();
    std::unique_ptr<FinderServer> second;
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    auto client = router("cli");
    ASSERT_TRUE(ready(*target));
    ASSERT_TRUE(ready(*client));
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

    second.reset(new FinderServer(e, port));
    ASSERT_TRUE(second->listening()) << second->error();
    ASSERT_TRUE(run_until([&] { return target->ready() && client->ready(); }));
    a = call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=again"));
    EXPECT_EQ("out:txt=again", a.args);
}

// The finder link takes 65536 bytes a message; STCP has no such limit.
TEST_F(Transport, LongXrlsGoStraightToTargetsButNotToTheFinder)
{
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    auto client = router("cli");
    ASSERT_TRUE(ready(*target));
    ASSERT_TRUE(ready(*client));
    XrlArgs big;
    big.add("in", std::string(2 * 1024 * 1024, 'a'));
    Answer a;
    EXPECT_FALSE(client->send(Xrl("finder", "common/0.1/get_status", big), a.cb()));
    EXPECT_FALSE(a.got);
    a = call(*client, Xrl("srv", "test/0.1/echo", big));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ(2u * 1024 * 1024 + 8, a.args.size());
}

// The finder drops a connection that breaks the protocol and goes on
// serving everyone else; a bad argument gets an answer.
TEST_F(Transport, FinderDropsConnectionsThatBreakTheProtocol)
{
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    auto client = router("cli");
    ASSERT_TRUE(ready(*target));
    ASSERT_TRUE(ready(*client));

    auto frame = [](const std::string& payload) {
	uint32_t n = payload.size();
	return std::string({ char(n >> 24), char(n >> 16), char(n >> 8), char(n) })
	    + payload;
    };
    const std::string x = "Finder 0.2\nMsgType x\nSeqNo 7\nMsgData ";
    const std::string cases[] = {
	"GET / HTTP/1.0\r\n\r\n",
	std::string("\x00\x01\x11\x70", 4) + std::string(1000, 'x'),  // 70000
	std::string("\x00\x00\x00\x00", 4),
	frame("Finder 0.3\nMsgType x\nSeqNo 7\nMsgData finder://finder/common/0.1/get_status"),
	frame("Finder 0.2\nMsgType q\nSeqNo 7\nMsgData "),
	frame("Finder 0.2\nMsgType x\nSeqNo -7\nMsgData "),
	frame(x + "not an xrl"),
	frame(x + std::string("finder://finder/common/0.1/get_status\0", 38)),
    };
    for (const std::string& bytes : cases) {
	auto r = raw(finder->port());
	ASSERT_TRUE(r->ok());
	r->send_bytes(bytes);
	size_t total;
	EXPECT_TRUE(r->closed_after(total)) << bytes.substr(0, 20);
	EXPECT_EQ(0u, total);
    }
    // Answered, the connection kept: another process's instance name, a
    // wrong argument count, a wrong type (which XORP's finder closes on).
    auto r = raw(finder->port());
    const std::string f = "finder://finder/finder/0.2/";
    EXPECT_EQ("102 / " + target->instance_name() + "+already+registered.\n",
	      r->ask(f + "register_finder_client?instance_name:txt="
		     + target->instance_name() + "&class_name:txt=srv"
		     "&singleton:bool=false&in_cookie:txt="));
    EXPECT_EQ("101 / \n", r->ask(f + "resolve_xrl"));
    EXPECT_EQ("101 / expected+xrl:txt\n", r->ask(f + "resolve_xrl?xrl:u32=1"));
    EXPECT_EQ("202 / \n", r->ask("finder://oxo/finder/0.2/no_such_thing"));

    Answer a = call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=fine"));
    EXPECT_EQ("out:txt=fine", a.args);
}

// Packets that no router would write reach a target's listener: a request
// it cannot read is answered 220 "corrupt xrl", a broken header closes the
// connection, and the target goes on serving.
TEST_F(Transport, ListenerAnswersOrClosesOnBadPackets)
{
    setenv("XORP_PF", "t", 1);		// TCP, where unix sockets are the default
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    ASSERT_TRUE(ready(*target));
    unsetenv("XORP_PF");
    auto r = raw(finder->port());
    std::string res = r->ask("finder://finder/finder/0.2/resolve_xrl?xrl:txt=finder://srv/test/0.1/echo");
    size_t at = res.find("stcp://127.0.0.1:");
    ASSERT_NE(std::string::npos, at) << res;
    std::string head = res.substr(at);
    uint16_t port = atoi(head.c_str() + 17);

    auto request = [](uint32_t seq, const std::string& data) {
	std::string p;
	stcp::append_header(p, seq, stcp::REQUEST, OKAY, 0, data.size());
	return p + data;
    };
    auto args = [&](const std::string& h, const XrlArgs& a) {
	std::string d;
	xrl_args_pack(d, a, &h);
	return d;
    };
    XrlArgs ok;
    ok.add("in", std::string("x"));
    std::string good = args(head, ok);
    std::string extra = good;
    extra[3] = 9;				// more atoms than there are
    XrlArgs wrong;
    wrong.add("in", uint32_t(1));
    const struct { std::string data; uint32_t code; } answered[] = {
	{ good, OKAY },
	{ extra, INTERNAL_ERROR },
	{ good.substr(0, good.size() - 1), INTERNAL_ERROR },
	{ args(head + "ffff", ok), INTERNAL_ERROR },	// another cookie
	{ args(head, wrong), INTERNAL_ERROR },		// the handler throws
    };
    auto conn = raw(port);
    uint32_t seq = 0;
    for (const auto& c : answered) {
	conn->send_bytes(request(seq, c.data));
	std::string packet;
	ASSERT_TRUE(conn->read_frame(packet, 24));
	stcp::Header h;
	stcp::read_header(packet.data(), h);
	EXPECT_EQ(seq++, h.seq);
	EXPECT_EQ(c.code, h.code) << seq;
    }
    EXPECT_EQ(2, srv.calls);
    std::string helo;
    stcp::append_header(helo, 77, stcp::HELO, OKAY, 0, 0);
    conn->send_bytes(helo);
    std::string packet;
    ASSERT_TRUE(conn->read_frame(packet, 24));
    EXPECT_EQ(stcp::HELO_ACK, packet[11]);

    std::string response;
    stcp::append_header(response, 1, stcp::RESPONSE, OKAY, 0, 0);
    std::string bad_type = helo;
    bad_type[11] = 9;
    const std::string closing[] = { "XTCP" + helo.substr(4), response, bad_type,
				     helo.substr(0, 4) + "\x01\x02" + helo.substr(6) };
    for (const std::string& bytes : closing) {
	auto c = raw(port);
	c->send_bytes(bytes);
	size_t total;
	EXPECT_TRUE(c->closed_after(total));
	EXPECT_EQ(0u, total);
    }
    auto client = router("cli");
    ASSERT_TRUE(ready(*client));
    EXPECT_EQ("out:txt=fine", call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=fine")).args);
}

}  // namespace
