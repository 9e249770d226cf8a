// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/xrl_router.hh"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "libxipc/finder_wire.hh"
#include "libxipc/xrl_atom_encoding.hh"
#include "libxorp/xlog.h"

namespace {

const TimeVal kDefaultReplyTimeout(30, 0);
const TimeVal kFinderRequestTimeout(30, 0);
const int kDefaultConnectTimeoutMs = 30000;
const char kFinderClient[] = "finder_client/0.2/";

// "<class>-<32 hex digits>@<ip>", unique among the finder's processes.
std::string
make_instance_name(const std::string& cls, const std::string& ip)
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
    return s + "@" + ip;
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

std::string
local_ip()
{
    const char* v = getenv("XORP_FINDER_CLIENT_ADDRESS");
    return v != NULL && *v != '\0' ? v : "127.0.0.1";
}

// Argument text from the wire; a raw NUL byte (the text form writes %00)
// means a broken message.
bool
text_args(const std::string& text, XrlArgs& out)
{
    if (text.find('\0') != std::string::npos)
	return false;
    try {
	out = XrlArgs(text.c_str());
    } catch (const XorpException&) {
	return false;
    }
    return true;
}

std::string
txt(const char* name, const std::string& value)
{
    return std::string(name) + ":txt=" + xrlatom_encode_value(value);
}

// The target of a cache key "finder://<target>/...".
std::string
key_target(const std::string& key)
{
    size_t start = key.find("://");
    start = start == std::string::npos ? 0 : start + 3;
    return key.substr(start, key.find('/', start) - start);
}

// "proto://addr" of a resolution "proto://addr/method".
std::string
address_of(const std::string& resolution)
{
    size_t p = resolution.find("://");
    if (p == std::string::npos)
	return std::string();
    return resolution.substr(0, resolution.find('/', p + 3));
}

}  // namespace

XrlRouter::XrlRouter(EventLoop& e, const char* class_name,
		     const char* finder_addr, uint16_t finder_port)
    : XrlCmdMap(class_name),
      _eventloop(e), _class_name(class_name), _local_ip(local_ip()),
      _instance_name(make_instance_name(class_name, _local_ip)),
      _finder_addr(finder_addr), _finder_port(finder_port),
      _finder(e, finder_addr, finder_port,
	      TimeVal(connect_timeout_ms() / 1000,
		      (connect_timeout_ms() % 1000) * 1000), *this),
      _finalized(false), _ready(false), _registered_before(false),
      _reply_timeout(kDefaultReplyTimeout),
      _f_waiting(false), _f_seq(0), _next_seq(1001), _calls_base(1),
      _outstanding(0)
{
    _finder.start();
}

XrlRouter::~XrlRouter()
{
    for (auto& kv : _senders)
	delete kv.second;
    reap_senders();
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
    if (count_handlers() != 0 || !_catch_all.is_empty()) {
	// A unix socket, as XORP's default (XORP_PF=x), unless XORP_PF=t
	// asks for TCP; TCP too when the socket cannot be made.
	const char* pf = getenv("XORP_PF");
	_listener.reset(new StcpListener(_eventloop, *this));
	if ((pf != NULL && strcmp(pf, "t") == 0) || !_listener->listen_unix())
	    _listener.reset(new StcpListener(_eventloop, *this));
	if (_listener->address().empty() && !_listener->listen(_local_ip)) {
	    xlog_error("XRL", "XrlRouter", "cannot listen on %s: %s",
		       _local_ip.c_str(), strerror(errno));
	    _listener.reset();
	}
    }
    if (_finder.connected())
	start_registration();
}

// ---- the finder link ----

void
XrlRouter::finder_client_refused(const std::string& why)
{
    if (why != _finder_refusal)
	xlog_error("XRL", "XrlRouter", "%s", why.c_str());
    _finder_refusal = why;
}

void
XrlRouter::finder_client_connected()
{
    _finder_refusal.clear();
    if (_finalized)
	start_registration();
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
    _f_timer.unschedule();
    _f_waiting = false;
    // What the finder was to answer will not be answered: fail it, after
    // taking it out, since the callbacks may send again.
    std::deque<FinderRequest> lost;
    lost.swap(_fq);
    // Resolutions came from that finder; the next calls resolve again.
    _cache.clear();
    _route.sender = NULL;
    for (FinderRequest& r : lost)
	r.done(SEND_FAILED, "lost the connection to the finder: " + why, "");
    if (was_ready)
	xlog_error("XRL", "XrlRouter", "lost the finder: %s", why.c_str());
    finder_disconnect_event();
}

void
XrlRouter::finder_client_message(const char* frame, size_t len)
{
    finderwire::Message m;
    if (!finderwire::parse(frame, len, m)) {
	_finder.disconnect("malformed message from the finder");
	return;
    }
    if (m.request)
	on_finder_request(m.seq, m.body, m.body_len);
    else
	on_finder_reply(m.seq, m.body, m.body_len);
}

void
XrlRouter::finder_request(const std::string& xrl, const FinderDone& done)
{
    FinderRequest r = { xrl, done };
    _fq.push_back(r);
    finder_pump();
}

void
XrlRouter::finder_pump()
{
    while (!_f_waiting && !_fq.empty() && _finder.connected()) {
	uint32_t seq = _next_seq++;
	if (!finderwire::append_request(_finder.out(), seq, _fq.front().xrl)) {
	    FinderDone done = _fq.front().done;
	    _fq.pop_front();
	    done(SEND_FAILED, "XRL longer than the finder takes", "");
	    continue;
	}
	_f_waiting = true;
	_f_seq = seq;
	_finder.flush();
	_f_timer = _eventloop.new_oneoff_after(
	    kFinderRequestTimeout, callback(this, &XrlRouter::finder_timed_out));
    }
}

// As XORP's client does: a finder that does not answer is dropped, and the
// router connects and registers again.
void
XrlRouter::finder_timed_out()
{
    if (!_f_waiting || _fq.empty())
	return;
    FinderDone done = _fq.front().done;
    _fq.pop_front();
    _f_waiting = false;
    done(REPLY_TIMED_OUT, "", "");
    _finder.disconnect("the finder did not answer in time");
}

void
XrlRouter::on_finder_reply(uint32_t seq, const char* body, size_t len)
{
    if (!_f_waiting || seq != _f_seq || _fq.empty())
	return;			// not ours to match: ignored
    uint32_t code;
    std::string note, args;
    if (!finderwire::parse_reply(body, len, code, note, args)) {
	_finder.disconnect("malformed reply from the finder");
	return;
    }
    FinderDone done = _fq.front().done;
    _fq.pop_front();
    _f_waiting = false;
    _f_timer.unschedule();
    done(code, note, args);
    finder_pump();
}

void
XrlRouter::answer_finder(uint32_t seq, uint32_t code, const std::string& note,
			 const std::string& args)
{
    if (!_finder.connected())
	return;
    finderwire::append_reply(_finder.out(), seq, code, note, args);
    _finder.flush();
}

void
XrlRouter::on_finder_request(uint32_t seq, const char* body, size_t len)
{
    std::string text(body, len);
    std::unique_ptr<Xrl> xrl;
    try {
	if (text.find('\0') != std::string::npos)
	    xorp_throw(InvalidString, "NUL byte");
	xrl.reset(new Xrl(text.c_str()));
    } catch (const XorpException& e) {
	_finder.disconnect("bad XRL from the finder");
	return;
    }
    const std::string& cmd = xrl->command();
    const XrlArgs& in = xrl->args();
    const XrlAtom* arg = in.size() == 1 ? &in[0] : NULL;
    bool one_txt = arg != NULL && arg->type() == xrlatom_text
	&& arg->has_data();
    if (cmd.compare(0, sizeof(kFinderClient) - 1, kFinderClient) != 0) {
	if (cmd == "common/0.1/get_target_name" && in.empty())
	    answer_finder(seq, OKAY, "", txt("name", _instance_name));
	else if (cmd == "common/0.1/get_status" && in.empty())
	    answer_finder(seq, OKAY, "", "status:u32=3&reason:txt=Ready");
	else
	    answer_finder(seq, NO_SUCH_METHOD, "", "");
	return;
    }
    std::string method = cmd.substr(sizeof(kFinderClient) - 1);
    if (method == "hello" && in.empty()) {
	answer_finder(seq, OKAY, "", "");
    } else if (method == "remove_xrl_from_cache" && one_txt) {
	_cache.erase(arg->text());
	_route.sender = NULL;
	answer_finder(seq, OKAY, "", "");
    } else if (method == "remove_xrls_for_target_from_cache" && one_txt) {
	_route.sender = NULL;
	for (auto i = _cache.begin(); i != _cache.end(); ) {
	    if (key_target(i->first) == arg->text())
		i = _cache.erase(i);
	    else
		++i;
	}
	answer_finder(seq, OKAY, "", "");
    } else if (method == "dispatch_tunneled_xrl" && one_txt) {
	// The finder does not wait for the handler's result, but it is
	// given: it costs nothing with handlers that answer at once.
	XrlError result;
	std::unique_ptr<Xrl> inner;
	try {
	    inner.reset(new Xrl(arg->text().c_str()));
	} catch (const XorpException&) {
	    result = XrlError(COMMAND_FAILED, "Bad Xrl string");
	}
	if (inner && inner->target() != _instance_name)
	    result = XrlError(COMMAND_FAILED, "target not found");
	else if (inner) {
	    XrlArgs out;
	    result = stcp_dispatch(inner->command(), inner->args(), out);
	}
	answer_finder(seq, OKAY, "", "xrl_error:u32="
		      + std::to_string(result.error_code()) + "&"
		      + txt("xrl_error_note", result.note()));
    } else if (method == "hello" || method == "remove_xrl_from_cache"
	       || method == "remove_xrls_for_target_from_cache"
	       || method == "dispatch_tunneled_xrl") {
	answer_finder(seq, BAD_ARGS, "", "");
    } else {
	answer_finder(seq, NO_SUCH_METHOD, "", "");
    }
}

// register_finder_client, one add_xrl per handler (sorted) and the
// catch-all, set_finder_client_enabled: queued at once, sent one by one.
void
XrlRouter::start_registration()
{
    using namespace std::placeholders;
    const std::string f = "finder://finder/finder/0.2/";
    finder_request(f + "register_finder_client?"
		   + txt("instance_name", _instance_name) + "&"
		   + txt("class_name", _class_name)
		   + "&singleton:bool=false&" + txt("in_cookie", _cookie),
		   std::bind(&XrlRouter::registration_step, this, _1, _2, _3,
			     std::string("register")));
    std::list<std::string> names;
    get_command_names(names);
    if (_listener) {
	std::string proto = "&" + txt("protocol_name", _listener->protocol())
	    + "&" + txt("protocol_args", _listener->address());
	for (const std::string& n : names)
	    finder_request(f + "add_xrl?" + txt("xrl", "finder://"
			   + _instance_name + "/" + n) + proto,
			   std::bind(&XrlRouter::registration_step, this,
				     _1, _2, _3, n));
	if (!_catch_all.is_empty())
	    finder_request(f + "add_xrl?" + txt("xrl", "finder://"
			   + _instance_name + "/*") + proto,
			   std::bind(&XrlRouter::registration_step, this,
				     _1, _2, _3, std::string("*")));
    }
    finder_request(f + "set_finder_client_enabled?"
		   + txt("instance_name", _instance_name) + "&enabled:bool=true",
		   std::bind(&XrlRouter::registration_step, this, _1, _2, _3,
			     std::string("enable")));
}

void
XrlRouter::registration_step(uint32_t code, const std::string& note,
			     const std::string& args, const std::string& cmd)
{
    if (code == SEND_FAILED)
	return;			// the link is gone; it starts over
    XrlArgs out;
    if (code != OKAY || !text_args(args, out)) {
	xlog_error("XRL", "XrlRouter", "the finder refused %s (%s): %s",
		   _instance_name.c_str(), cmd.c_str(),
		   XrlError(static_cast<XrlErrorCode>(code), note).str().c_str());
	_finder.disconnect("registration refused");
	return;
    }
    try {
	if (cmd == "register") {
	    _cookie = out.get_string("out_cookie");
	} else if (cmd == "enable") {
	    _ready = true;
	    bool again = _registered_before;
	    _registered_before = true;
	    finder_ready_event(_instance_name);
	    if (again && !_finder_reconnected.is_empty())
		_finder_reconnected->dispatch();
	} else {
	    const std::string& name = out.get_string("resolved_xrl_method_name");
	    if (cmd == "*")
		_catch_all_cookies.insert(name.substr(name.rfind('-') + 1));
	    else
		_methods[name] = cmd;
	}
    } catch (const XorpException& e) {
	xlog_error("XRL", "XrlRouter", "bad answer of the finder: %s",
		   e.str().c_str());
	_finder.disconnect("bad registration answer");
    }
}

// ---- calls ----

uint64_t
XrlRouter::new_call(const XrlSender::Callback& cb)
{
    TimeVal now;
    _eventloop.current_time(now);
    Call c = { cb, now + _reply_timeout, true };
    _calls.push_back(c);
    _outstanding++;
    if (!_timeout_timer.scheduled())
	arm_timeout();
    return _calls_base + _calls.size() - 1;
}

void
XrlRouter::complete(uint64_t call, const XrlError& e, XrlArgs* args)
{
    uint64_t idx = call - _calls_base;
    if (call < _calls_base || idx >= _calls.size() || !_calls[idx].active)
	return;			// answered after its time ran out
    XrlSender::Callback cb = _calls[idx].cb;
    _calls[idx].active = false;
    _calls[idx].cb.reset();
    _outstanding--;
    retire_front();
    cb->dispatch(e, args);
}

// A failure found while sending is told from the event loop, as answers.
void
XrlRouter::fail_later(uint64_t call, const XrlError& e)
{
    _failed.push_back(std::make_pair(call, e));
    if (!_failed_timer.scheduled())
	_failed_timer = _eventloop.new_oneoff_after(
	    TimeVal(0, 0), callback(this, &XrlRouter::fail_pending_now));
}

void
XrlRouter::fail_pending_now()
{
    std::vector<std::pair<uint64_t, XrlError> > f;
    f.swap(_failed);
    for (auto& p : f)
	complete(p.first, p.second, NULL);
}

void
XrlRouter::retire_front()
{
    while (!_calls.empty() && !_calls.front().active) {
	_calls.pop_front();
	_calls_base++;
    }
}

void
XrlRouter::arm_timeout()
{
    if (_calls.empty())
	return;
    _timeout_timer = _eventloop.new_oneoff_at(
	_calls.front().deadline, callback(this, &XrlRouter::check_timeouts));
}

void
XrlRouter::check_timeouts()
{
    TimeVal now;
    _eventloop.current_time(now);
    // Deadlines grow with the call number: expire from the front.
    while (!_calls.empty() && _calls.front().deadline <= now) {
	if (_calls.front().active)
	    complete(_calls_base, XrlError(REPLY_TIMED_OUT), NULL);
	else
	    retire_front();
    }
    arm_timeout();
}

bool
XrlRouter::send(const Xrl& xrl, const XrlSender::Callback& cb)
{
    if (!_finder.connected()) {
	xlog_error("XRL", "XrlRouter", "NO FINDER");
	return false;
    }
    if (xrl.protocol() == "finder" && xrl.target().compare(0, 6, "finder") == 0) {
	std::string text = xrl.str();
	if (text.size() + 64 > finderwire::kMaxPayload) {
	    xlog_error("XRL", "XrlRouter", "XRL too long for the finder: %s",
		       xrl.string_no_args().c_str());
	    return false;
	}
	uint64_t call = new_call(cb);
	finder_request(text, [this, call](uint32_t code,
					  const std::string& note,
					  const std::string& args) {
	    XrlArgs out;
	    if (code != OKAY)
		complete(call, XrlError(static_cast<XrlErrorCode>(code), note),
			 NULL);
	    else if (!text_args(args, out))
		complete(call, XrlError(BAD_ARGS, "bad reply"), NULL);
	    else
		complete(call, XrlError(), &out);
	});
	return true;
    }
    if (_route.sender != NULL && _waiting.empty()
	&& route_matches(xrl.target(), xrl.command())) {
	_route.sender->send(new_call(cb), *_route.resolution, xrl.args());
	return true;
    }
    uint64_t call = new_call(cb);
    std::string key = "finder://" + xrl.target() + "/" + xrl.command();
    if (_waiting.empty() && _cache.count(key) != 0) {
	send_direct(call, key, xrl.args());
	return true;
    }
    // Behind a resolve under way, even when resolved already: XRLs from one
    // router keep their order.
    Waiting w = { call, key, xrl.args(), WAIT_RESOLVING, XrlError() };
    if (_cache.count(key) != 0)
	w.state = WAIT_RESOLVED;
    _waiting.push_back(w);
    if (w.state == WAIT_RESOLVING && _resolving.count(key) == 0)
	resolve(key);
    drain_waiting();
    return true;
}

void
XrlRouter::resolve(const std::string& key)
{
    _resolving.insert(key);
    finder_request("finder://finder/finder/0.2/resolve_xrl?" + txt("xrl", key),
		   [this, key](uint32_t code, const std::string& note,
			       const std::string& args) {
	resolved(key, code, note, args);
    });
}

void
XrlRouter::resolved(const std::string& key, uint32_t code,
		    const std::string& note, const std::string& args)
{
    _resolving.erase(key);
    XrlError err;
    XrlArgs out;
    std::vector<std::string> res;
    try {
	if (code == OKAY && text_args(args, out)) {
	    const XrlAtomList& l = out.get_list("resolutions");
	    for (size_t i = 0; i < l.size(); i++)
		res.push_back(l.get(i).text());
	}
    } catch (const XorpException&) {
	res.clear();
    }
    if (code == OKAY && !res.empty()) {
	_cache[key] = res;
	_route.sender = NULL;
    }
    else if (code == OKAY || code == COMMAND_FAILED)
	err = XrlError(RESOLVE_FAILED);	// the finder's note stays with it
    else
	err = XrlError(static_cast<XrlErrorCode>(code), note);
    for (Waiting& w : _waiting) {
	if (w.key == key && w.state == WAIT_RESOLVING) {
	    w.state = err.isOK() ? WAIT_RESOLVED : WAIT_FAILED;
	    w.error = err;
	}
    }
    drain_waiting();
    if (code != OKAY && code != COMMAND_FAILED && code != SEND_FAILED)
	_finder.disconnect("resolve failed");	// as XORP's client does
}

void
XrlRouter::drain_waiting()
{
    while (!_waiting.empty() && _waiting.front().state != WAIT_RESOLVING) {
	Waiting w = _waiting.front();
	_waiting.pop_front();
	uint64_t idx = w.call - _calls_base;
	if (w.call < _calls_base || idx >= _calls.size() || !_calls[idx].active)
	    continue;		// timed out while waiting: not sent at all
	if (w.state == WAIT_FAILED)
	    complete(w.call, w.error, NULL);
	else if (_cache.count(w.key) == 0)
	    complete(w.call, XrlError(SEND_FAILED, "resolution withdrawn"),
		     NULL);
	else
	    send_direct(w.call, w.key, w.args);
    }
}

// Whether _route.key is "finder://<target>/<command>".
bool
XrlRouter::route_matches(const std::string& target,
			 const std::string& command) const
{
    const std::string& k = _route.key;
    const size_t n = 9;		// "finder://"
    return k.size() == n + target.size() + 1 + command.size()
	&& k.compare(n, target.size(), target) == 0
	&& k[n + target.size()] == '/'
	&& k.compare(n + target.size() + 1, command.size(), command) == 0;
}

void
XrlRouter::send_direct(uint64_t call, const std::string& key,
		       const XrlArgs& args)
{
    const std::vector<std::string>& res = _cache[key];
    std::string why;
    // The first resolution whose listener can be reached.
    for (const std::string& r : res) {
	std::string addr = address_of(r);
	auto s = _senders.find(addr);
	if (s == _senders.end()) {
	    StcpSender* sender = new StcpSender(_eventloop, addr, *this);
	    if (!sender->connect(why)) {
		delete sender;
		continue;
	    }
	    s = _senders.insert(std::make_pair(addr, sender)).first;
	}
	s->second->send(call, r, args);
	if (&r == &res.front()) {
	    _route.key = key;
	    _route.resolution = &r;
	    _route.sender = s->second;
	}
	return;
    }
    _cache.erase(key);
    _route.sender = NULL;
    fail_later(call, XrlError(SEND_FAILED, "cannot connect to the target: "
			      + why));
}

// ---- STCP ----

XrlError
XrlRouter::stcp_dispatch(const std::string& method, const XrlArgs& in,
			 XrlArgs& out)
{
    std::string own;
    const std::string* command = &own;
    const XrlCmdEntry* entry = NULL;
    bool any = false;
    if (_last_entry != NULL && _last_generation == generation()
	&& method == _last_method) {
	entry = _last_entry;
    } else if (auto m = _methods.find(method); m != _methods.end()) {
	command = &m->second;
	entry = get_handler(*command);
	_last_entry = entry;
	if (entry != NULL) {
	    _last_method = method;
	    _last_generation = generation();
	}
    } else {
	size_t dash = method.rfind('-');
	if (dash == std::string::npos
	    || _catch_all_cookies.count(method.substr(dash + 1)) == 0)
	    return XrlError(INTERNAL_ERROR, "corrupt xrl");
	own = method.substr(0, dash);
	entry = get_handler(own);
	any = entry == NULL;
    }
    XrlError result;
    try {
	if (any) {
	    errno = 0;
	    result = _catch_all->dispatch(*command, in, &out);
	} else if (entry != NULL) {
	    result = dispatch(*entry, in, &out);
	} else {
	    result = XrlError(NO_SUCH_METHOD, *command);
	}
    } catch (const XorpException& e) {
	result = XrlError(INTERNAL_ERROR, "handler failed: " + e.str());
    } catch (const std::exception& e) {
	result = XrlError(INTERNAL_ERROR, std::string("handler failed: ")
			  + e.what());
    } catch (...) {
	result = XrlError(INTERNAL_ERROR, "handler failed");
    }
    if (!result.isOK())
	out.clear();
    return result;
}

void
XrlRouter::stcp_answer(uint64_t call, const XrlError& e, XrlArgs* args)
{
    complete(call, e, args);
}

void
XrlRouter::stcp_lost(StcpSender* s, const std::vector<uint64_t>& calls,
		     const std::string& why)
{
    const std::string prefix = s->address() + "/";
    _senders.erase(s->address());
    _route.sender = NULL;
    _dead_senders.push_back(s);
    if (!_reaper.scheduled())
	_reaper = _eventloop.new_oneoff_after(
	    TimeVal(0, 0), callback(this, &XrlRouter::reap_senders));
    // The next call to that target resolves again.
    for (auto i = _cache.begin(); i != _cache.end(); ) {
	bool gone = false;
	for (const std::string& r : i->second)
	    gone = gone || r.compare(0, prefix.size(), prefix) == 0;
	if (gone)
	    i = _cache.erase(i);
	else
	    ++i;
    }
    XrlError err(SEND_FAILED, "connection to the target lost: " + why);
    for (uint64_t c : calls)
	complete(c, err, NULL);
}

void
XrlRouter::reap_senders()
{
    for (StcpSender* s : _dead_senders)
	delete s;
    _dead_senders.clear();
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
