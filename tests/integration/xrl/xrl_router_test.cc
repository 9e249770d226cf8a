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
#include "libxipc/xrl_wire.hh"

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

// A blocking socket that speaks the wire protocol by hand.
class RawPeer {
public:
    explicit RawPeer(uint16_t port) {
	_fd = socket(AF_INET, SOCK_STREAM, 0);
	sockaddr_in sin = {};
	sin.sin_family = AF_INET;
	sin.sin_port = htons(port);
	sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	_ok = connect(_fd, reinterpret_cast<sockaddr*>(&sin), sizeof(sin)) == 0;
    }
    ~RawPeer() { if (_fd >= 0) close(_fd); }
    bool ok() const { return _ok; }
    int fd() const { return _fd; }
    void send_bytes(const std::string& b) {
	ASSERT_EQ(static_cast<ssize_t>(b.size()), write(_fd, b.data(), b.size()));
    }
    void hello(const std::string& cls, const std::string& inst) {
	std::string b;
	xrlwire::FrameWriter w(b, xrlwire::MSG_HELLO);
	w.u32(xrlwire::kProtocolMagic);
	w.str(cls);
	w.str(inst);
	w.finish();
	send_bytes(b);
    }
    void register_commands(const std::vector<std::string>& cmds) {
	std::string b;
	xrlwire::FrameWriter w(b, xrlwire::MSG_REGISTER);
	w.u32(0);
	w.u32(cmds.size());
	for (const std::string& c : cmds)
	    w.str(c);
	w.finish();
	send_bytes(b);
    }
    void request(uint32_t seq, const std::string& target,
		 const std::string& command, const std::string& args) {
	std::string b;
	xrlwire::FrameWriter w(b, xrlwire::MSG_REQUEST);
	w.u32(seq);
	w.str(target);
	w.str(command);
	w.str(args);
	w.finish();
	send_bytes(b);
    }
    // Reads one whole frame (blocking); false if the connection ended.
    bool read_frame(std::string& payload) {
	char hdr[4];
	if (!read_all(hdr, 4))
	    return false;
	payload.resize(xrlwire::get_u32(hdr));
	return read_all(&payload[0], payload.size());
    }
    void shut() { close(_fd); _fd = -1; }
    // Reads and drops whatever has arrived.
    void drain() {
	char buf[4096];
	while (recv(_fd, buf, sizeof(buf), MSG_DONTWAIT) > 0)
	    ;
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
};

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

    // An error too long for one message keeps its code; the note is cut.
    a = call(*client, Xrl("finder://srv/test/0.1/refuse_at_length"));
    EXPECT_EQ(BAD_ARGS, a.err.error_code()) << a.err.str().substr(0, 80);
    EXPECT_EQ(0u, a.err.note().find("unexpected xxx"));
    EXPECT_LT(a.err.note().size(), 1024u * 1024u);

    // A router may call itself through the finder.
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
    EXPECT_EQ(RESOLVE_FAILED, call(*client, Xrl("finder://finder/common/0.1/nothing")).err.error_code());
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

TEST_F(Transport, ClassNameGoesToTheOldestLiveInstance)
{
    auto client = router("cli");
    auto one = router("mod");
    Server s1, s2;
    one->add_handler("test/0.1/echo", callback(&s1, &Server::echo));
    ASSERT_TRUE(ready(*one));
    auto two = router("mod");
    two->add_handler("test/0.1/echo", callback(&s2, &Server::echo));
    ASSERT_TRUE(ready(*two));
    ASSERT_TRUE(ready(*client));
    call(*client, Xrl("finder://mod/test/0.1/echo?in:txt=1"));
    EXPECT_EQ(1, s1.calls);
    one.reset();
    Answer a = call(*client, Xrl("finder://mod/test/0.1/echo?in:txt=2"));
    EXPECT_TRUE(a.err.isOK()) << a.err.str();
    EXPECT_EQ(1, s2.calls);
}

TEST_F(Transport, PeerThatDiesOrStallsBeforeAnsweringFailsTheCall)
{
    auto client = router("cli");
    ASSERT_TRUE(ready(*client));
    RawPeer raw(finder->port());
    ASSERT_TRUE(raw.ok());
    raw.hello("stall", "stall-1@127.0.0.1");
    raw.register_commands({ "test/0.1/wait" });
    ASSERT_TRUE(run_until_readable(raw.fd()));	// registered

    // Unanswered in time: REPLY_TIMED_OUT, once; a late answer is dropped.
    client->set_reply_timeout(TimeVal(0, 200000));
    Answer late = call(*client, Xrl("finder://stall/test/0.1/wait"));
    EXPECT_EQ(REPLY_TIMED_OUT, late.err.error_code());

    client->set_reply_timeout(TimeVal(30, 0));
    raw.drain();
    Answer a;
    ASSERT_TRUE(client->send(Xrl("finder://stall/test/0.1/wait"), a.cb()));
    EXPECT_TRUE(client->pending());
    ASSERT_TRUE(run_until_readable(raw.fd()));	// the request reached it
    raw.shut();
    ASSERT_TRUE(run_until([&] { return a.got; }));
    EXPECT_EQ(SEND_FAILED, a.err.error_code());
    EXPECT_EQ(1, late.calls);
    EXPECT_FALSE(client->pending());
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

TEST_F(Transport, RoutersComeBackWhenTheFinderReturns)
{
    uint16_t port = finder->port();
    std::unique_ptr<FinderServer> second;
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    auto client = router("cli");
    ASSERT_TRUE(ready(*target));
    ASSERT_TRUE(ready(*client));

    // Lose the finder while a call is under way.
    Answer a;
    ASSERT_TRUE(client->send(Xrl("finder://srv/test/0.1/echo?in:txt=x"), a.cb()));
    finder.reset();
    ASSERT_TRUE(run_until([&] { return a.got; }));
    EXPECT_EQ(SEND_FAILED, a.err.error_code());
    EXPECT_FALSE(client->ready());

    second.reset(new FinderServer(e, port));
    ASSERT_TRUE(second->listening()) << second->error();
    ASSERT_TRUE(run_until([&] { return target->ready() && client->ready(); }));
    a = call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=again"));
    EXPECT_EQ("out:txt=again", a.args);
}

TEST_F(Transport, OversizedXrlIsNotSent)
{
    auto client = router("cli");
    ASSERT_TRUE(ready(*client));
    XrlArgs big;
    big.add("blob", std::string(2 * 1024 * 1024, 'a'));
    Answer a;
    EXPECT_FALSE(client->send(Xrl("srv", "test/0.1/echo", big), a.cb()));
    EXPECT_FALSE(a.got);
    EXPECT_EQ(RESOLVE_FAILED, call(*client, Xrl("finder://srv/test/0.1/echo")).err.error_code());
}

// The finder drops a connection that breaks the protocol, answering first
// where it can, and goes on serving everyone else.
TEST_F(Transport, FinderDropsConnectionsThatBreakTheProtocol)
{
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    auto client = router("cli");
    ASSERT_TRUE(ready(*target));
    ASSERT_TRUE(ready(*client));

    std::string big_prefix("\x00\x20\x00\x00", 4);	// 2 MiB
    std::string empty_frame("\x00\x00\x00\x00", 4);
    std::string request_first;
    {
	xrlwire::FrameWriter w(request_first, xrlwire::MSG_REQUEST);
	w.u32(1);
	w.str(std::string("srv"));
	w.str(std::string("test/0.1/echo"));
	w.str(std::string("in:txt=x"));
	w.finish();
    }
    std::string bad_magic;
    {
	xrlwire::FrameWriter w(bad_magic, xrlwire::MSG_HELLO);
	w.u32(12345);
	w.str(std::string("c"));
	w.str(std::string("i"));
	w.finish();
    }
    std::string truncated_fields("\x00\x00\x00\x03\x01\x00\x00", 7);
    const std::string cases[] = { "GET / HTTP/1.0\r\n\r\n", big_prefix,
				  empty_frame, request_first, bad_magic,
				  truncated_fields };
    for (const std::string& bytes : cases) {
	RawPeer raw(finder->port());
	ASSERT_TRUE(raw.ok());
	raw.send_bytes(bytes);
	ASSERT_TRUE(run_until_readable(raw.fd()));
	// Whatever came first, the connection ends.
	char buf[4096];
	ssize_t n;
	size_t total = 0;
	while ((n = read(raw.fd(), buf, sizeof(buf))) > 0)
	    total += n;
	EXPECT_EQ(0, n);
	EXPECT_LT(total, 4096u);
    }
    // A second process may not take an instance name already in use.
    RawPeer dup(finder->port());
    dup.hello("srv", target->instance_name());
    ASSERT_TRUE(run_until_readable(dup.fd()));
    char b[512];
    ssize_t n = read(dup.fd(), b, sizeof(b));
    ASSERT_GT(n, 5);
    EXPECT_EQ(xrlwire::MSG_FAILURE, b[4]);

    Answer a = call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=fine"));
    EXPECT_EQ("out:txt=fine", a.args);
}

// Argument text that no router would write reaches a target from a peer:
// it is answered BAD_ARGS, never read as something shorter, and the target
// goes on serving.
TEST_F(Transport, MalformedArgumentTextIsAnsweredBadArgs)
{
    auto target = router("srv");
    target->add_handler("test/0.1/echo", callback(&srv, &Server::echo));
    ASSERT_TRUE(ready(*target));
    RawPeer raw(finder->port());
    ASSERT_TRUE(raw.ok());
    raw.hello("raw", "raw-1@127.0.0.1");

    std::string nested = "in:list=";
    for (int i = 0; i < 50000; i++)
	nested += ":list=";
    const std::string cases[] = {
	std::string("in:txt=x\0&more:u32=1", 20),	// raw NUL: %00 in text
	"in:txt=50%",
	nested,
    };
    uint32_t seq = 40;
    for (const std::string& args : cases) {
	raw.request(++seq, "srv", "test/0.1/echo", args);
	ASSERT_TRUE(run_until_readable(raw.fd()));
	std::string reply;
	ASSERT_TRUE(raw.read_frame(reply));
	xrlwire::ReplyView v;
	ASSERT_TRUE(xrlwire::read_reply(reply.data(), reply.size(), v));
	EXPECT_EQ(seq, v.seq);
	EXPECT_EQ(uint32_t(BAD_ARGS), v.code) << args.substr(0, 40);
    }
    EXPECT_EQ(0, srv.calls);

    auto client = router("cli");
    ASSERT_TRUE(ready(*client));
    Answer a = call(*client, Xrl("finder://srv/test/0.1/echo?in:txt=fine"));
    EXPECT_EQ("out:txt=fine", a.args);
}

}  // namespace
