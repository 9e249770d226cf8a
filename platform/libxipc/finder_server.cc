// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/finder_server.hh"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "libxipc/finder_wire.hh"
#include "libxipc/peer_credentials.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_atom_encoding.hh"
#include "libxipc/xrl_error.hh"

namespace {

const char kFinder[] = "finder";
const char kObserver[] = "/finder_event_observer/0.1/";
const char kClient[] = "/finder_client/0.2/";

typedef std::pair<const char*, XrlAtomType> Spec;

// The arguments of a finder method: exactly as many as `spec`, taken by
// position when none is named and by name otherwise, each of its type with
// a value.  XORP's finder closes the link on a wrong name or type; this one
// answers BAD_ARGS.
bool
fetch(const XrlArgs& in, std::initializer_list<Spec> spec,
      std::vector<const XrlAtom*>& got, uint32_t& code, std::string& note)
{
    code = BAD_ARGS;
    if (in.size() != spec.size())
	return false;
    bool positional = true;
    for (const XrlAtom& a : in)
	positional = positional && a.name().empty();
    size_t i = 0;
    for (const Spec& s : spec) {
	const XrlAtom* a = positional ? &in[i] : in.find(s.first);
	i++;
	if (a == NULL || a->type() != s.second || !a->has_data()) {
	    note = std::string("expected ") + s.first + ":"
		+ xrlatom_type_name(s.second);
	    return false;
	}
	got.push_back(a);
    }
    code = OKAY;
    return true;
}

#define FETCH(...)							\
    std::vector<const XrlAtom*> a;					\
    if (!fetch(in, { __VA_ARGS__ }, a, r.code, r.note))		\
	return

const Spec kTxt(const char* n) { return Spec(n, xrlatom_text); }

std::string
not_responsible(const std::string& n)
{
    return "Target \"" + n + "\" does not exist or caller is not responsible "
	"for it.";
}

// Everything after "proto://addr/" of a resolution.
std::string
method_of(const std::string& resolution)
{
    size_t p = resolution.find("://");
    p = resolution.find('/', p == std::string::npos ? 0 : p + 3);
    return p == std::string::npos ? std::string() : resolution.substr(p + 1);
}

// A catch-all resolution "proto://addr/*-cookie" made for one command.
std::string
for_command(const std::string& catch_all, const std::string& command)
{
    size_t star = catch_all.rfind("/*-");
    return catch_all.substr(0, star + 1) + command + catch_all.substr(star + 2);
}

}  // namespace

FinderServer::FinderServer(EventLoop& e, uint16_t port, bool verbose)
    : _eventloop(e), _verbose(verbose), _listen_fd(-1), _port(port),
      _shutdown(false), _next_id(1), _seq(1001), _cookie_counter(0)
{
    if (getrandom(&_cookie_counter, sizeof(_cookie_counter), GRND_NONBLOCK)
	!= sizeof(_cookie_counter))
	_cookie_counter = static_cast<uint32_t>(getpid()) * 2654435761u;
    const struct { const char* name; Method m; } methods[] = {
#define M(prefix, name) { prefix #name, &FinderServer::name }
	M("finder/0.2/", register_finder_client),
	M("finder/0.2/", unregister_finder_client),
	M("finder/0.2/", set_finder_client_enabled),
	M("finder/0.2/", finder_client_enabled),
	M("finder/0.2/", add_xrl),
	M("finder/0.2/", remove_xrl),
	M("finder/0.2/", resolve_xrl),
	M("finder/0.2/", get_xrl_targets),
	M("finder/0.2/", get_xrls_registered_by),
	M("finder/0.2/", get_ipv4_permitted_hosts),
	M("finder/0.2/", get_ipv4_permitted_nets),
	M("finder/0.2/", get_ipv6_permitted_hosts),
	M("finder/0.2/", get_ipv6_permitted_nets),
	M("finder_event_notifier/0.1/", register_class_event_interest),
	M("finder_event_notifier/0.1/", deregister_class_event_interest),
	M("finder_event_notifier/0.1/", register_instance_event_interest),
	M("finder_event_notifier/0.1/", deregister_instance_event_interest),
	M("common/0.1/", get_target_name),
	M("common/0.1/", get_version),
	M("common/0.1/", get_status),
	M("common/0.1/", shutdown),
	M("common/0.1/", startup),
#undef M
    };
    for (const auto& m : methods)
	_methods[m.name] = m.m;

    ErrnoSaver es;
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
	_error = std::string("socket: ") + strerror(errno);
	return;
    }
    int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    struct sockaddr_in sin;
    memset(&sin, 0, sizeof(sin));
    sin.sin_family = AF_INET;
    sin.sin_port = htons(port);
    sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, reinterpret_cast<struct sockaddr*>(&sin), sizeof(sin)) < 0
	|| listen(fd, 128) < 0) {
	_error = std::string("cannot listen on 127.0.0.1:")
	    + std::to_string(port) + ": " + strerror(errno);
	::close(fd);
	return;
    }
    socklen_t sl = sizeof(sin);
    if (getsockname(fd, reinterpret_cast<struct sockaddr*>(&sin), &sl) == 0)
	_port = ntohs(sin.sin_port);
    _listen_fd = fd;
    _eventloop.add_ioevent_cb(fd, IOT_READ,
			      callback(this, &FinderServer::accept_ready));
}

FinderServer::~FinderServer()
{
    if (_listen_fd >= 0) {
	_eventloop.remove_ioevent_cb(_listen_fd, IOT_ANY);
	::close(_listen_fd);
    }
    for (auto& kv : _instances)
	delete kv.second;
    for (auto& kv : _conns) {
	delete kv.second->wc;
	delete kv.second;
    }
    reap();
}

void
FinderServer::log(const std::string& what) const
{
    if (_verbose)
	fprintf(stderr, "xorp_finder: %s\n", what.c_str());
}

void
FinderServer::accept_ready(int, IoEventType)
{
    ErrnoSaver es;
    for (;;) {
	int fd = accept4(_listen_fd, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
	if (fd < 0) {
	    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS
		|| errno == ENOMEM)
		pause_accepting();
	    return;		// EAGAIN, or a connection gone before accept
	}
	int one = 1;
	setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
	Conn* c = new Conn();
	c->id = _next_id++;
	c->waiting = false;
	c->waiting_seq = 0;
	std::string why;
	if (!peer_uid(fd, c->uid, why)) {
	    c->uid = static_cast<uid_t>(-1);
	    log("connection " + std::to_string(c->id) + ": no user known: "
		+ why);
	}
	c->trusted = c->uid != static_cast<uid_t>(-1) && uid_trusted(c->uid);
	c->wc = new WireConn(_eventloop, fd, finderwire::split, *this);
	c->wc->set_user(c);
	_conns[c->id] = c;
	log("connection " + std::to_string(c->id) + " accepted, uid "
	    + std::to_string(static_cast<long>(c->uid))
	    + (c->trusted ? "" : ", not trusted"));
	if (!_hello.scheduled())
	    _hello = _eventloop.new_periodic(
		TimeVal(kHelloPeriodSec, 0),
		callback(this, &FinderServer::hello_tick));
    }
}

// Out of descriptors the listening socket stays readable: stop watching it
// for a while rather than spin on accept.
void
FinderServer::pause_accepting()
{
    log("out of resources to accept a connection; pausing for 100 ms");
    _eventloop.remove_ioevent_cb(_listen_fd, IOT_READ);
    _accept_pause = _eventloop.new_oneoff_after(
	TimeVal(0, 100000), callback(this, &FinderServer::resume_accepting));
}

void
FinderServer::resume_accepting()
{
    _eventloop.add_ioevent_cb(_listen_fd, IOT_READ,
			      callback(this, &FinderServer::accept_ready));
}

std::vector<FinderServer::Conn*>
FinderServer::conns() const
{
    std::vector<Conn*> v;
    for (auto& kv : _conns)
	v.push_back(kv.second);
    return v;
}

bool
FinderServer::hello_tick()
{
    for (Conn* c : conns())
	push(c, "finder://oxo/finder_client/0.2/hello");
    return true;
}

void
FinderServer::drop(Conn* c, const std::string& why)
{
    log("connection " + std::to_string(c->id) + ": " + why);
    c->wc->close(why.c_str());
}

void
FinderServer::request_timed_out(Conn* c)
{
    drop(c, "no reply in time");
}

void
FinderServer::wire_bad_frame(WireConn* conn, const char* why)
{
    drop(static_cast<Conn*>(conn->user()), why);
}

void
FinderServer::wire_message(WireConn* conn, const char* frame, size_t len)
{
    Conn* c = static_cast<Conn*>(conn->user());
    finderwire::Message m;
    if (!finderwire::parse(frame, len, m)) {
	drop(c, "malformed message header");
	return;
    }
    if (m.request)
	on_request(c, m.seq, m.body, m.body_len);
    else
	on_reply(c, m.seq, m.body, m.body_len);
}

void
FinderServer::on_request(Conn* c, uint32_t seq, const char* body, size_t len)
{
    std::string text(body, len);
    std::unique_ptr<Xrl> xrl;
    try {
	if (text.find('\0') != std::string::npos)
	    xorp_throw(InvalidString, "NUL byte in the XRL");
	xrl.reset(new Xrl(text.c_str()));
    } catch (const XorpException& e) {
	drop(c, "bad XRL: " + e.why());
	return;
    }
    Reply r;
    r.code = OKAY;
    auto m = _methods.find(xrl->command());
    if (m == _methods.end())
	r.code = NO_SUCH_METHOD;
    else
	(this->*(m->second))(c, xrl->args(), r);
    if (!c->wc->is_open())
	return;
    std::string args = r.code == OKAY && !r.out.empty() ? r.out.str() : "";
    if (!finderwire::append_reply(c->wc->out(), seq, r.code, r.note, args))
	finderwire::append_reply(c->wc->out(), seq, COMMAND_FAILED,
				 "reply longer than 65536 bytes", "");
    c->wc->flush();
    std::vector<std::function<void()> > after;
    after.swap(_after_reply);
    for (auto& f : after)
	f();
}

void
FinderServer::on_reply(Conn* c, uint32_t seq, const char* body, size_t len)
{
    if (!c->waiting || seq != c->waiting_seq)
	return;			// not what it was asked: ignored, as XORP does
    uint32_t code;
    std::string note, args;
    if (!finderwire::parse_reply(body, len, code, note, args)) {
	drop(c, "malformed reply");
	return;
    }
    if (code != OKAY) {
	drop(c, "refused a request of the finder: " + XrlError(
		 static_cast<XrlErrorCode>(code), note).str());
	return;
    }
    c->waiting = false;
    c->timeout.unschedule();
    pump(c);
}

void
FinderServer::push(Conn* c, const std::string& xrl)
{
    if (!c->wc->is_open())
	return;
    c->queue.push_back(xrl);
    pump(c);
}

void
FinderServer::pump(Conn* c)
{
    while (!c->waiting && !c->queue.empty() && c->wc->is_open()) {
	std::string xrl = c->queue.front();
	c->queue.pop_front();
	uint32_t seq = _seq++;
	if (!finderwire::append_request(c->wc->out(), seq, xrl)) {
	    log("request too long for connection " + std::to_string(c->id));
	    continue;
	}
	c->waiting = true;
	c->waiting_seq = seq;
	c->wc->flush();
	c->timeout = _eventloop.new_oneoff_after(
	    TimeVal(kRequestTimeoutSec, 0),
	    callback(this, &FinderServer::request_timed_out, c));
    }
}

void
FinderServer::wire_closed(WireConn* conn, const char* why)
{
    Conn* c = static_cast<Conn*>(conn->user());
    log("connection " + std::to_string(c->id) + " closed: " + why);
    c->timeout.unschedule();
    _conns.erase(c->id);
    // Every instance it registered goes (XORP leaves all but the first).
    std::vector<std::string> names = c->instances;
    for (const std::string& n : names) {
	auto i = _instances.find(n);
	if (i != _instances.end())
	    depart(i->second, true);
    }
    _dead.push_back(c);
    if (!_reaper.scheduled())
	_reaper = _eventloop.new_oneoff_after(TimeVal(0, 0),
					      callback(this, &FinderServer::reap));
}

void
FinderServer::reap()
{
    for (Conn* c : _dead) {
	delete c->wc;
	delete c;
    }
    _dead.clear();
}

std::string
FinderServer::new_cookie()
{
    uint32_t r = 0;
    if (getrandom(&r, sizeof(r), GRND_NONBLOCK) != sizeof(r))
	r = (_cookie_counter * 2246822519u) ^ static_cast<uint32_t>(_seq);
    char b[17];
    snprintf(b, sizeof(b), "%08x%08x", ++_cookie_counter, r);
    return b;
}

FinderServer::Instance*
FinderServer::owned(Conn* c, const std::string& name, Reply& r)
{
    auto i = _instances.find(name);
    if (i == _instances.end() || i->second->owner != c) {
	r.code = COMMAND_FAILED;
	r.note = not_responsible(name);
	return NULL;
    }
    return i->second;
}

FinderServer::Instance*
FinderServer::primary(const std::string& cls, bool trusted_only)
{
    auto i = _classes.find(cls);
    if (i == _classes.end() || i->second.empty())
	return NULL;
    for (Instance* inst : i->second)
	if (inst->owner->trusted)
	    return inst;
    return trusted_only ? NULL : i->second.front();
}

// Whether a new instance of `cls` would clash with one already there:
// either is a singleton.  A trusted process is never kept out by instances
// of untrusted ones.
bool
FinderServer::conflicts(const std::string& cls, bool singleton,
			bool trusted_only)
{
    auto i = _classes.find(cls);
    if (i == _classes.end())
	return false;
    for (Instance* inst : i->second)
	if ((!trusted_only || inst->owner->trusted)
	    && (singleton || inst->singleton))
	    return true;
    return false;
}

// Whether `observer` hears of the births and deaths of `subject`: it asked
// for that very instance, or for its class and a trusted observer hears of
// trusted instances only (a look-alike's death must not stop the tracking
// of the real module).
bool
FinderServer::told_to(const Instance* observer, const Instance& subject) const
{
    if (observer->instance_watches.count(subject.name) != 0)
	return true;
    return observer->class_watches.count(subject.cls) != 0
	&& (!observer->owner->trusted || subject.owner->trusted);
}

// Lifecycle methods are for trusted callers only.
bool
FinderServer::refused(Conn* c, Reply& r) const
{
    if (c->trusted)
	return false;
    r.code = COMMAND_FAILED;
    r.note = "permission denied: uid "
	+ std::to_string(static_cast<long>(c->uid))
	+ " is neither root nor in group xorp";
    return true;
}

// An instance leaves (remove) or is disabled: every connection drops its
// cached resolutions (of the class too if it was the class's primary), then
// its observers hear of its death.
void
FinderServer::depart(Instance* inst, bool remove)
{
    bool was_primary = primary(inst->cls, false) == inst
	|| primary(inst->cls, true) == inst;
    bool was_enabled = inst->enabled;
    inst->enabled = false;
    std::string name = inst->name, cls = inst->cls;
    Conn* owner = inst->owner;
    if (remove) {
	std::vector<Instance*>& v = _classes[cls];
	v.erase(std::remove(v.begin(), v.end(), inst), v.end());
	if (v.empty())
	    _classes.erase(cls);
	_instances.erase(name);
	std::vector<std::string>& mine = owner->instances;
	mine.erase(std::remove(mine.begin(), mine.end(), name), mine.end());
    }
    const std::string notice = kClient + std::string(
	"remove_xrls_for_target_from_cache?target_name:txt=");
    for (Conn* c : conns()) {
	if (remove && c == owner)
	    continue;
	push(c, "finder://" + name + notice + xrlatom_encode_value(name));
	if (was_primary)
	    push(c, "finder://" + cls + notice + xrlatom_encode_value(cls));
    }
    if (was_enabled || remove) {
	std::vector<Instance*> watchers;
	for (auto& kv : _instances) {
	    Instance* o = kv.second;
	    if (o != inst && told_to(o, *inst))
		watchers.push_back(o);
	}
	for (Instance* o : watchers)
	    tunnel(o, "xrl_target_death", *inst);
    }
    if (remove)
	delete inst;
}

void
FinderServer::tunnel(Instance* observer, const char* event,
		     const Instance& subject)
{
    std::string command = std::string(kObserver + 1) + event;
    std::string key = "finder://" + observer->name + "/" + command;
    auto r = observer->res.find(key);
    std::string method;
    if (r != observer->res.end() && !r->second.empty())
	method = method_of(r->second.front());
    else if (!observer->catch_all.empty())
	method = method_of(for_command(observer->catch_all.front(), command));
    else {
	log("Failed to resolve " + key);
	return;
    }
    std::string inner = "finder://" + observer->name + "/" + method
	+ "?target_class:txt=" + xrlatom_encode_value(subject.cls)
	+ "&target_instance:txt=" + xrlatom_encode_value(subject.name);
    push(observer->owner, "finder://" + observer->name + kClient
	 + "dispatch_tunneled_xrl?xrl:txt=" + xrlatom_encode_value(inner));
}

void
FinderServer::births_for(Instance* observer, const std::string& cls)
{
    auto c = _classes.find(cls);
    if (c == _classes.end())
	return;
    for (Instance* i : c->second) {
	if (i->enabled && told_to(observer, *i))
	    tunnel(observer, "xrl_target_birth", *i);
    }
}

bool
FinderServer::resolve(const std::string& text, bool trusted,
		      std::vector<std::string>& out, std::string& why)
{
    std::unique_ptr<Xrl> xrl;
    try {
	xrl.reset(new Xrl(text.c_str()));
    } catch (const XorpException&) {
	why = "Invalid xrl string";
	return false;
    }
    Instance* inst = primary(xrl->target(), trusted);
    if (inst == NULL) {
	auto i = _instances.find(xrl->target());
	inst = i == _instances.end() ? NULL : i->second;
    }
    if (inst == NULL) {
	why = "Target \"" + xrl->target() + "\" does not exist or is not enabled.";
	return false;
    }
    if (!inst->enabled) {
	why = "Xrl target is not enabled.";
	return false;
    }
    Xrl key(inst->name, xrl->command(), xrl->args());
    auto r = inst->res.find(key.str());
    if (r != inst->res.end()) {
	out = r->second;
	return true;
    }
    if (xrl->args().empty() && !inst->catch_all.empty()) {
	for (const std::string& c : inst->catch_all)
	    out.push_back(for_command(c, xrl->command()));
	return true;
    }
    why = "Xrl does not resolve: " + text;
    return false;
}

// ---- finder/0.2 ----

void
FinderServer::register_finder_client(Conn* c, const XrlArgs& in, Reply& r)
{
    FETCH(kTxt("instance_name"), kTxt("class_name"),
	  Spec("singleton", xrlatom_boolean), kTxt("in_cookie"));
    const std::string& name = a[0]->text();
    const std::string& cls = a[1]->text();
    const std::string& in_cookie = a[3]->text();
    if (!Xrl::valid_target(name) || !Xrl::valid_target(cls)
	|| name.compare(0, 6, kFinder) == 0 || cls.compare(0, 6, kFinder) == 0) {
	r.code = COMMAND_FAILED;
	r.note = "Invalid target name \"" + name + "\"";
	return;
    }
    // An untrusted process's instance name has an '@', as every router's
    // "<class>-<unique>@<ip>": it can never pass for a class name.
    if (!c->trusted && name.find('@') == std::string::npos) {
	r.code = COMMAND_FAILED;
	r.note = "Invalid target name \"" + name + "\"";
	return;
    }
    if (!in_cookie.empty()) {
	// A process back after a lost link: its old registration goes first.
	for (auto& kv : _instances) {
	    if (kv.second->cookie == in_cookie && kv.second->name != name) {
		depart(kv.second, true);
		break;
	    }
	}
    }
    auto old = _instances.find(name);
    if (old != _instances.end() && old->second->owner == c) {
	r.out.add("out_cookie", old->second->cookie);
	return;
    }
    bool had_trusted = primary(cls, true) != NULL;
    if (old != _instances.end()
	|| conflicts(cls, a[2]->boolean(), c->trusted)) {
	r.code = COMMAND_FAILED;
	r.note = name + " already registered.";
	return;
    }
    Instance* inst = new Instance();
    inst->name = name;
    inst->cls = cls;
    inst->cookie = in_cookie.empty() ? new_cookie() : in_cookie;
    inst->owner = c;
    inst->enabled = false;
    inst->singleton = a[2]->boolean();
    _instances[name] = inst;
    _classes[cls].push_back(inst);
    c->instances.push_back(name);
    log(name + " registered by connection " + std::to_string(c->id));
    if (c->trusted && !had_trusted && _classes[cls].size() > 1) {
	// The class now resolves to this instance for untrusted callers too.
	_after_reply.push_back([this, cls] {
	    for (Conn* o : conns())
		push(o, "finder://" + cls + kClient
		     + "remove_xrls_for_target_from_cache?target_name:txt="
		     + xrlatom_encode_value(cls));
	});
    }
    r.out.add("out_cookie", inst->cookie);
}

void
FinderServer::unregister_finder_client(Conn* c, const XrlArgs& in, Reply& r)
{
    FETCH(kTxt("instance_name"));
    Instance* inst = owned(c, a[0]->text(), r);
    if (inst != NULL)
	_after_reply.push_back([this, inst] { depart(inst, true); });
}

void
FinderServer::set_finder_client_enabled(Conn* c, const XrlArgs& in, Reply& r)
{
    FETCH(kTxt("instance_name"), Spec("enabled", xrlatom_boolean));
    Instance* inst = owned(c, a[0]->text(), r);
    if (inst == NULL || inst->enabled == a[1]->boolean())
	return;
    std::string name = inst->name;
    if (!a[1]->boolean()) {
	_after_reply.push_back([this, inst] { depart(inst, false); });
	return;
    }
    inst->enabled = true;
    log(name + " enabled");
    _after_reply.push_back([this, name] {
	auto i = _instances.find(name);
	if (i == _instances.end())
	    return;
	std::vector<Instance*> watchers;
	for (auto& kv : _instances) {
	    Instance* o = kv.second;
	    if (told_to(o, *i->second))
		watchers.push_back(o);
	}
	for (Instance* o : watchers)
	    tunnel(o, "xrl_target_birth", *i->second);
    });
}

void
FinderServer::finder_client_enabled(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH(kTxt("instance_name"));
    auto i = _instances.find(a[0]->text());
    if (i == _instances.end()) {
	r.code = COMMAND_FAILED;
	r.note = "Invalid target name \"" + a[0]->text() + "\"";
	return;
    }
    r.out.add("enabled", i->second->enabled);
}

void
FinderServer::add_xrl(Conn* c, const XrlArgs& in, Reply& r)
{
    FETCH(kTxt("xrl"), kTxt("protocol_name"), kTxt("protocol_args"));
    const std::string& text = a[0]->text();
    const std::string& proto = a[1]->text();
    const std::string& addr = a[2]->text();
    if (!Xrl::valid_target(proto) || addr.empty()
	|| addr.find_first_of("/?&") != std::string::npos) {
	r.code = COMMAND_FAILED;
	r.note = "Invalid protocol";
	return;
    }
    // "finder://<instance>/*": the instance takes every method it did not
    // add (a router with a catch-all handler).
    const std::string prefix = "finder://";
    if (text.size() > prefix.size() + 2
	&& text.compare(0, prefix.size(), prefix) == 0
	&& text.compare(text.size() - 2, 2, "/*") == 0) {
	std::string name = text.substr(prefix.size(),
				       text.size() - prefix.size() - 2);
	Instance* inst = owned(c, name, r);
	if (inst == NULL)
	    return;
	std::string method = "*-" + new_cookie();
	inst->catch_all.push_back(proto + "://" + addr + "/" + method);
	r.out.add("resolved_xrl_method_name", method);
	return;
    }
    std::unique_ptr<Xrl> xrl;
    try {
	xrl.reset(new Xrl(text.c_str()));
    } catch (const XorpException&) {
	r.code = COMMAND_FAILED;
	r.note = "Invalid xrl string";
	return;
    }
    Instance* inst = owned(c, xrl->target(), r);
    if (inst == NULL)
	return;
    std::string method = xrl->command() + "-" + new_cookie();
    std::string key = xrl->str();
    std::vector<std::string>& v = inst->res[key];
    if (v.empty())
	inst->keys.push_back(key);
    v.push_back(proto + "://" + addr + "/" + method);
    r.out.add("resolved_xrl_method_name", method);
}

void
FinderServer::remove_xrl(Conn* c, const XrlArgs& in, Reply& r)
{
    FETCH(kTxt("xrl"));
    std::unique_ptr<Xrl> xrl;
    try {
	xrl.reset(new Xrl(a[0]->text().c_str()));
    } catch (const XorpException&) {
	r.code = COMMAND_FAILED;
	r.note = "Invalid xrl string";
	return;
    }
    Instance* inst = owned(c, xrl->target(), r);
    if (inst == NULL)
	return;
    std::string key = xrl->str();
    if (inst->res.erase(key) == 0) {
	r.code = COMMAND_FAILED;
	r.note = "Xrl does not exist: " + key;
	return;
    }
    inst->keys.erase(std::find(inst->keys.begin(), inst->keys.end(), key));
    std::string target = xrl->target();
    _after_reply.push_back([this, key, target] {
	for (Conn* c : conns())
	    push(c, "finder://" + target + kClient
		 + "remove_xrl_from_cache?xrl:txt=" + xrlatom_encode_value(key));
    });
}

void
FinderServer::resolve_xrl(Conn* c, const XrlArgs& in, Reply& r)
{
    FETCH(kTxt("xrl"));
    std::vector<std::string> res;
    if (!resolve(a[0]->text(), c->trusted, res, r.note)) {
	r.code = COMMAND_FAILED;
	return;
    }
    XrlAtomList list;
    for (const std::string& s : res)
	list.append(XrlAtom(s));
    r.out.add("resolutions", list);
}

void
FinderServer::get_xrl_targets(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH();
    std::vector<std::string> names(1, kFinder);
    for (auto& kv : _instances)
	names.push_back(kv.first);
    std::sort(names.begin(), names.end());
    XrlAtomList list;
    for (const std::string& n : names)
	list.append(XrlAtom(n));
    r.out.add("target_names", list);
}

void
FinderServer::get_xrls_registered_by(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH(kTxt("target_name"));
    const std::string& n = a[0]->text();
    XrlAtomList list;
    if (n == kFinder) {
	for (auto& m : _methods)
	    list.append(XrlAtom("finder://finder/" + m.first));
    } else {
	auto i = _instances.find(n);
	if (i == _instances.end()) {
	    r.code = COMMAND_FAILED;
	    r.note = "No such target \"" + n + "\"";
	    return;
	}
	for (const std::string& k : i->second->keys)
	    list.append(XrlAtom(k));
    }
    r.out.add("xrls", list);
}

void
FinderServer::get_ipv4_permitted_hosts(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH();
    XrlAtomList list;
    list.append(XrlAtom(IPv4("127.0.0.1")));
    r.out.add("ipv4s", list);
}

void
FinderServer::get_ipv4_permitted_nets(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH();
    r.out.add("ipv4nets", XrlAtomList());
}

void
FinderServer::get_ipv6_permitted_hosts(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH();
    r.out.add("ipv6s", XrlAtomList());
}

void
FinderServer::get_ipv6_permitted_nets(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH();
    r.out.add("ipv6nets", XrlAtomList());
}

// ---- finder_event_notifier/0.1 ----

FinderServer::Instance*
FinderServer::originator(Conn* c, const std::string& name, Reply& r)
{
    auto i = _instances.find(name);
    if (i == _instances.end() || i->second->owner != c) {
	r.code = COMMAND_FAILED;
	r.note = "failed (not originator).";
	return NULL;
    }
    return i->second;
}

void
FinderServer::register_class_event_interest(Conn* c, const XrlArgs& in,
					    Reply& r)
{
    FETCH(kTxt("requester_instance"), kTxt("class_name"));
    Instance* obs = originator(c, a[0]->text(), r);
    if (obs == NULL)
	return;
    std::string cls = a[1]->text();
    if (!obs->class_watches.insert(cls).second) {
	log(obs->name + " registered twice for class " + cls);
	return;
    }
    std::string name = obs->name;
    _after_reply.push_back([this, name, cls] {
	auto o = _instances.find(name);
	if (o != _instances.end())
	    births_for(o->second, cls);
    });
}

void
FinderServer::deregister_class_event_interest(Conn* c, const XrlArgs& in,
					      Reply& r)
{
    FETCH(kTxt("requester_instance"), kTxt("class_name"));
    Instance* obs = originator(c, a[0]->text(), r);
    if (obs != NULL)
	obs->class_watches.erase(a[1]->text());
}

void
FinderServer::register_instance_event_interest(Conn* c, const XrlArgs& in,
					       Reply& r)
{
    FETCH(kTxt("requester_instance"), kTxt("instance_name"));
    const std::string& who = a[0]->text();
    const std::string& what = a[1]->text();
    Instance* obs = originator(c, who, r);
    if (obs == NULL)
	return;
    std::string err;
    if (_instances.count(what) == 0)
	err = "Could not find instance-to-watch: " + what;
    else if (!obs->instance_watches.insert(what).second)
	err = "Watcher failed to add_instance_watch.";
    if (!err.empty()) {
	r.code = COMMAND_FAILED;
	r.note = "failed to add instance event watch, who: " + who
	    + "  instance_name: " + what + "  err: " + err + "\n";
	return;
    }
    _after_reply.push_back([this, who, what] {
	auto o = _instances.find(who);
	auto s = _instances.find(what);
	if (o != _instances.end() && s != _instances.end()
	    && s->second->enabled)
	    tunnel(o->second, "xrl_target_birth", *s->second);
    });
}

void
FinderServer::deregister_instance_event_interest(Conn* c, const XrlArgs& in,
						 Reply& r)
{
    FETCH(kTxt("requester_instance"), kTxt("instance_name"));
    Instance* obs = originator(c, a[0]->text(), r);
    if (obs != NULL)
	obs->instance_watches.erase(a[1]->text());
}

// ---- common/0.1 ----

void
FinderServer::get_target_name(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH();
    r.out.add("name", std::string(kFinder));
}

void
FinderServer::get_version(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH();
    r.out.add("version", std::string("finder/0.0"));
}

void
FinderServer::get_status(Conn*, const XrlArgs& in, Reply& r)
{
    FETCH();
    r.out.add("status", uint32_t(3));
    r.out.add("reason", std::string("Ready"));
}

void
FinderServer::shutdown(Conn* c, const XrlArgs& in, Reply& r)
{
    FETCH();
    if (!refused(c, r))
	_shutdown = true;
}

void
FinderServer::startup(Conn* c, const XrlArgs& in, Reply& r)
{
    FETCH();
    refused(c, r);
}
