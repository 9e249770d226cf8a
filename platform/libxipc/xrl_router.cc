// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/xrl_router.hh"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "libxipc/xrl_wire.hh"
#include "libxorp/xlog.h"

using namespace xrlwire;

namespace {

const TimeVal kDefaultReplyTimeout(30, 0);
// Kept of an error note too long to fit in one message.
const size_t kMaxNoteLength = 64 * 1024;
const int kDefaultConnectTimeoutMs = 30000;

// "<class>-<32 hex digits>@127.0.0.1", unique among the finder's processes.
std::string
make_instance_name(const std::string& cls)
{
    unsigned char r[16];
    ssize_t got = getrandom(r, sizeof(r), GRND_NONBLOCK);
    if (got != static_cast<ssize_t>(sizeof(r))) {
	// No entropy yet: mix what tells this process apart.
	static unsigned counter;
	struct timespec ts;
	clock_gettime(CLOCK_REALTIME, &ts);
	uint64_t seed = (uint64_t(getpid()) << 32) ^ uint64_t(ts.tv_nsec)
	    ^ (uint64_t(ts.tv_sec) << 20) ^ (uint64_t(++counter) << 48);
	for (size_t i = 0; i < sizeof(r); i++) {
	    seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
	    r[i] = static_cast<unsigned char>(seed >> 56);
	}
    }
    static const char hex[] = "0123456789abcdef";
    std::string s = cls + "-";
    for (unsigned char c : r) {
	s += hex[c >> 4];
	s += hex[c & 15];
    }
    return s + "@127.0.0.1";
}

// Argument text as it came off the wire.  The text form writes a NUL byte
// as %00, so a raw one means a broken message; the parser, which reads a C
// string, would silently stop there.
XrlArgs
wire_args(const char* p, size_t n, std::string& scratch)
{
    if (memchr(p, '\0', n) != NULL)
	xorp_throw(InvalidString, "argument text holds a NUL byte");
    scratch.assign(p, n);
    return XrlArgs(scratch.c_str());
}

int
connect_timeout_ms()
{
    const char* v = getenv("XORP_FINDER_CONNECT_TIMEOUT_MS");
    if (v == NULL || *v == '\0')
	return kDefaultConnectTimeoutMs;
    int ms = atoi(v);
    return ms > 0 ? ms : kDefaultConnectTimeoutMs;
}

}  // namespace

XrlRouter::XrlRouter(EventLoop& e, const char* class_name,
		     const char* finder_addr, uint16_t finder_port)
    : XrlCmdMap(class_name),
      _eventloop(e), _class_name(class_name),
      _instance_name(make_instance_name(class_name)),
      _finder_addr(finder_addr), _finder_port(finder_port),
      _finder(e, finder_addr, finder_port,
	      TimeVal(connect_timeout_ms() / 1000,
		      (connect_timeout_ms() % 1000) * 1000), *this),
      _finalized(false), _ready(false), _registered_before(false),
      _reply_timeout(kDefaultReplyTimeout),
      _pending_base(0), _outstanding(0)
{
    _finder.start();
}

XrlRouter::~XrlRouter()
{
}

void
XrlRouter::set_catch_all_handler(const XrlRecvAnyCallback& cb)
{
    _catch_all = cb;
}

void
XrlRouter::finalize()
{
    XrlCmdMap::finalize();
    if (_finalized)
	return;
    _finalized = true;
    if (_finder.connected())
	send_registration();
}

void
XrlRouter::send_registration()
{
    std::list<std::string> names;
    get_command_names(names);
    FrameWriter w(_finder.out(), MSG_REGISTER);
    w.u32(_catch_all.is_empty() ? 0 : FLAG_CATCH_ALL);
    w.u32(static_cast<uint32_t>(names.size()));
    for (const std::string& n : names)
	w.str(n);
    if (!w.finish()) {
	xlog_error("XRL", "XrlRouter", "too many commands to register");
	return;
    }
    _finder.flush();
}

void
XrlRouter::finder_client_connected()
{
    FrameWriter w(_finder.out(), MSG_HELLO);
    w.u32(kProtocolMagic);
    w.str(_class_name);
    w.str(_instance_name);
    w.finish();
    if (_finalized)
	send_registration();
    _finder.flush();
    finder_connect_event();
}

void
XrlRouter::finder_client_gave_up()
{
    xlog_error("XRL", "XrlRouter",
	       "no finder at %s:%u", _finder_addr.c_str(),
	       static_cast<unsigned>(_finder_port));
}

void
XrlRouter::finder_client_disconnected(const std::string& why)
{
    bool was_ready = _ready;
    _ready = false;
    // Nothing sent so far will be answered: fail it all, after taking it
    // out, since the callbacks may send again.
    std::deque<Pending> lost;
    lost.swap(_pending);
    _pending_base += static_cast<uint32_t>(lost.size());
    _outstanding = 0;
    _timeout_timer.unschedule();
    XrlError err(SEND_FAILED, "lost the connection to the finder: " + why);
    for (Pending& p : lost) {
	if (p.active)
	    p.cb->dispatch(err, NULL);
    }
    if (was_ready)
	xlog_error("XRL", "XrlRouter", "lost the finder: %s", why.c_str());
    finder_disconnect_event();
}

void
XrlRouter::finder_client_message(const char* payload, size_t len)
{
    switch (static_cast<uint8_t>(payload[0])) {
    case MSG_REQUEST:
	on_request(payload, len);
	break;
    case MSG_REPLY:
	on_reply(payload, len);
	break;
    case MSG_REGISTERED:
	if (!_ready) {
	    _ready = true;
	    bool again = _registered_before;
	    _registered_before = true;
	    finder_ready_event(_instance_name);
	    if (again && !_finder_reconnected.is_empty())
		_finder_reconnected->dispatch();
	}
	break;
    case MSG_FAILURE: {
	PayloadReader r(payload, len);
	uint8_t t;
	std::string why;
	r.u8(t);
	r.str(why);
	xlog_error("XRL", "XrlRouter", "the finder refused %s: %s",
		   _instance_name.c_str(), why.c_str());
	_finder.disconnect(why.c_str());
	break;
    }
    default:
	_finder.disconnect("unknown message from the finder");
	break;
    }
}

void
XrlRouter::answer(uint32_t seq, uint32_t code, const std::string& note,
		  const std::string& args)
{
    if (!_finder.connected())
	return;
    FrameWriter w(_finder.out(), MSG_REPLY);
    w.u32(seq);
    w.u32(code);
    w.str(note);
    w.str(args);
    if (!w.finish()) {
	// An error keeps its code and the start of its note (a BAD_ARGS note
	// lists every unexpected argument, so it outgrows a large call); return
	// values cannot be cut short, so a success becomes an error.
	FrameWriter f(_finder.out(), MSG_REPLY);
	f.u32(seq);
	if (code != OKAY) {
	    f.u32(code);
	    f.str(note.substr(0, kMaxNoteLength) + "...");
	} else {
	    f.u32(INTERNAL_ERROR);
	    f.str(std::string("reply longer than 1 MiB"));
	}
	f.str("", 0);
	f.finish();
    }
    _finder.flush();
}

void
XrlRouter::on_request(const char* payload, size_t len)
{
    RequestView req;
    if (!read_request(payload, len, req)) {
	_finder.disconnect("malformed request from the finder");
	return;
    }
    const uint32_t seq = req.seq;
    std::string command(req.command, req.command_len);
    XrlArgs in;
    try {
	in = wire_args(req.args, req.args_len, _scratch);
    } catch (const XorpException& e) {
	answer(seq, BAD_ARGS, e.why(), "");
	return;
    }
    XrlArgs out;
    XrlError result;
    try {
	if (get_handler(command) == NULL && !_catch_all.is_empty()) {
	    errno = 0;
	    XrlCmdError e = _catch_all->dispatch(command, in, &out);
	    result = e;
	    if (!result.isOK())
		out.clear();
	} else {
	    result = dispatch(command, in, &out);
	}
    } catch (const XorpException& e) {
	result = XrlError(INTERNAL_ERROR, "handler failed: " + e.str());
	out.clear();
    } catch (const std::exception& e) {
	result = XrlError(INTERNAL_ERROR, std::string("handler failed: ")
			  + e.what());
	out.clear();
    } catch (...) {
	result = XrlError(INTERNAL_ERROR, "handler failed");
	out.clear();
    }
    ErrnoSaver es;
    answer(seq, result.error_code(), result.note(),
	   out.empty() ? std::string() : out.str());
}

void
XrlRouter::on_reply(const char* payload, size_t len)
{
    ReplyView rep;
    if (!read_reply(payload, len, rep)) {
	_finder.disconnect("malformed reply from the finder");
	return;
    }
    uint32_t idx = rep.seq - _pending_base;
    if (idx >= _pending.size() || !_pending[idx].active)
	return;			// answered after its time ran out
    XrlSender::Callback cb = _pending[idx].cb;
    _pending[idx].active = false;
    _pending[idx].cb.reset();
    _outstanding--;
    retire_front();

    XrlError err(static_cast<XrlErrorCode>(rep.code),
		 std::string(rep.note, rep.note_len));
    if (!err.isOK()) {
	cb->dispatch(err, NULL);
	return;
    }
    XrlArgs args;
    try {
	args = wire_args(rep.args, rep.args_len, _scratch);
    } catch (const XorpException& e) {
	cb->dispatch(XrlError(BAD_ARGS, "bad reply: " + e.why()), NULL);
	return;
    }
    cb->dispatch(err, &args);
}

bool
XrlRouter::send(const Xrl& xrl, const XrlSender::Callback& cb)
{
    if (!_finder.connected()) {
	xlog_error("XRL", "XrlRouter", "NO FINDER");
	return false;
    }
    uint32_t seq = _pending_base + static_cast<uint32_t>(_pending.size());
    FrameWriter w(_finder.out(), MSG_REQUEST);
    w.u32(seq);
    w.str(xrl.target());
    w.str(xrl.command());
    w.str(xrl.args().empty() ? std::string() : xrl.args().str());
    if (!w.finish()) {
	xlog_error("XRL", "XrlRouter", "XRL longer than 1 MiB not sent: %s",
		   xrl.string_no_args().c_str());
	return false;
    }
    TimeVal now;
    _eventloop.current_time(now);
    Pending p = { cb, now + _reply_timeout, true };
    _pending.push_back(p);
    _outstanding++;
    _finder.flush();
    if (!_timeout_timer.scheduled())
	arm_timeout();
    return true;
}

void
XrlRouter::retire_front()
{
    while (!_pending.empty() && !_pending.front().active) {
	_pending.pop_front();
	_pending_base++;
    }
}

void
XrlRouter::arm_timeout()
{
    if (_pending.empty())
	return;
    _timeout_timer = _eventloop.new_oneoff_at(
	_pending.front().deadline, callback(this, &XrlRouter::check_timeouts));
}

void
XrlRouter::check_timeouts()
{
    TimeVal now;
    _eventloop.current_time(now);
    XrlError err(REPLY_TIMED_OUT);
    // Deadlines grow with the sequence number: expire from the front.
    while (!_pending.empty() && _pending.front().deadline <= now) {
	XrlSender::Callback cb = _pending.front().cb;
	bool active = _pending.front().active;
	_pending.pop_front();
	_pending_base++;
	if (active) {
	    _outstanding--;
	    cb->dispatch(err, NULL);
	}
    }
    retire_front();
    arm_timeout();
}

void
wait_until_xrl_router_is_ready(EventLoop& e, XrlRouter& router)
{
    while (!router.ready()) {
	if (router.failed()) {
	    xlog_error("XRL", "wait_until_xrl_router_is_ready",
		       "XrlRouter failed.  No Finder?");
	    xlog_stop();
	    xlog_exit();
	    exit(-1);
	}
	e.run();
    }
}
