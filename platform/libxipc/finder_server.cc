// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/finder_server.hh"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "libxipc/xrl_atom_encoding.hh"
#include "libxipc/xrl_error.hh"
#include "libxipc/xrl_wire.hh"

using namespace xrlwire;

namespace {

const char kFinderTarget[] = "finder";
const char kNotifier[] = "finder_event_notifier/0.1/";
const char kBirth[] = "finder_event_observer/0.1/xrl_target_birth";
const char kDeath[] = "finder_event_observer/0.1/xrl_target_death";

// Reads "name:txt=value&..." into `out`; false if malformed or not all txt.
bool
parse_txt_args(const char* p, size_t n, std::map<std::string, std::string>& out)
{
    std::string text(p, n);
    size_t pos = 0;
    while (pos < text.size()) {
	size_t amp = text.find('&', pos);
	if (amp == std::string::npos)
	    amp = text.size();
	std::string atom = text.substr(pos, amp - pos);
	pos = amp + 1;
	size_t colon = atom.find(':');
	size_t eq = atom.find('=');
	if (colon == std::string::npos || eq == std::string::npos || eq < colon)
	    return false;
	if (atom.compare(colon + 1, eq - colon - 1, "txt") != 0)
	    return false;
	std::string value;
	if (!xrlatom_decode_value(atom.data() + eq + 1, atom.size() - eq - 1,
				  value))
	    return false;
	out[atom.substr(0, colon)] = value;
    }
    return true;
}

std::string
txt_arg(const char* name, const std::string& value)
{
    return std::string(name) + ":txt=" + xrlatom_encode_value(value);
}

}  // namespace

FinderServer::FinderServer(EventLoop& e, uint16_t port, bool verbose)
    : _eventloop(e), _verbose(verbose), _listen_fd(-1), _port(port),
      _next_id(1)
{
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
    for (auto& kv : _peers) {
	delete kv.second->conn;
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
	Peer* p = new Peer();
	p->id = _next_id++;
	if (p->id == 0)
	    p->id = _next_id++;
	p->named = p->enabled = p->catch_all = false;
	p->forward_base = 0;
	p->conn = new WireConn(_eventloop, fd, *this);
	p->conn->set_user(p);
	_peers[p->id] = p;
	log("connection " + std::to_string(p->id) + " accepted");
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

void
FinderServer::fail(Peer* p, const std::string& why)
{
    log("connection " + std::to_string(p->id) + ": " + why);
    FrameWriter w(p->conn->out(), MSG_FAILURE);
    w.str(why);
    w.finish();
    p->conn->close_after_flush();
}

void
FinderServer::wire_bad_frame(WireConn* conn, const char* why)
{
    fail(static_cast<Peer*>(conn->user()), why);
}

void
FinderServer::wire_message(WireConn* conn, const char* payload, size_t len)
{
    Peer* p = static_cast<Peer*>(conn->user());
    uint8_t type = static_cast<uint8_t>(payload[0]);
    if (!p->named && type != MSG_HELLO) {
	fail(p, "the first message must introduce the process");
	return;
    }
    switch (type) {
    case MSG_HELLO:	on_hello(p, payload, len); break;
    case MSG_REGISTER:	on_register(p, payload, len); break;
    case MSG_REQUEST:	on_request(p, payload, len); break;
    case MSG_REPLY:	on_reply(p, payload, len); break;
    default:		fail(p, "unknown message type"); break;
    }
}

void
FinderServer::on_hello(Peer* p, const char* payload, size_t len)
{
    PayloadReader r(payload, len);
    uint8_t type;
    uint32_t magic;
    std::string cls, inst;
    if (!r.u8(type) || !r.u32(magic) || !r.str(cls) || !r.str(inst)
	|| !r.at_end() || magic != kProtocolMagic) {
	fail(p, "malformed introduction");
	return;
    }
    if (p->named) {
	fail(p, "introduced twice");
	return;
    }
    if (cls.empty() || inst.empty() || cls == kFinderTarget
	|| inst == kFinderTarget) {
	fail(p, "bad class or instance name");
	return;
    }
    if (_by_instance.count(inst) != 0) {
	fail(p, "instance name " + inst + " is already in use");
	return;
    }
    p->class_name = cls;
    p->instance = inst;
    p->named = true;
    _by_instance[inst] = p;
    log("connection " + std::to_string(p->id) + " is " + inst);
}

void
FinderServer::on_register(Peer* p, const char* payload, size_t len)
{
    PayloadReader r(payload, len);
    uint8_t type;
    uint32_t flags, count;
    if (!r.u8(type) || !r.u32(flags) || !r.u32(count)) {
	fail(p, "malformed registration");
	return;
    }
    std::unordered_set<std::string> commands;
    for (uint32_t i = 0; i < count; i++) {
	std::string c;
	if (!r.str(c)) {
	    fail(p, "malformed registration");
	    return;
	}
	commands.insert(c);
    }
    if (!r.at_end()) {
	fail(p, "malformed registration");
	return;
    }
    p->commands.swap(commands);
    p->catch_all = (flags & FLAG_CATCH_ALL) != 0;

    FrameWriter w(p->conn->out(), MSG_REGISTERED);
    w.finish();
    p->conn->flush();

    if (!p->enabled) {
	p->enabled = true;
	_classes[p->class_name].push_back(p);
	log(p->instance + " enabled with " + std::to_string(count)
	    + " commands" + (p->catch_all ? " and any other" : ""));
	announce(*p, kBirth);
    }
}

FinderServer::Peer*
FinderServer::resolve(const std::string& target)
{
    auto i = _by_instance.find(target);
    if (i != _by_instance.end())
	return i->second->enabled ? i->second : NULL;
    auto c = _classes.find(target);
    if (c != _classes.end() && !c->second.empty())
	return c->second.front();
    return NULL;
}

void
FinderServer::reply(Peer* to, uint32_t seq, uint32_t code,
		    const std::string& note, const std::string& args)
{
    if (to == NULL || !to->conn->is_open())
	return;
    FrameWriter w(to->conn->out(), MSG_REPLY);
    w.u32(seq);
    w.u32(code);
    w.str(note);
    w.str(args);
    w.finish();
    to->conn->flush();
}

void
FinderServer::on_request(Peer* p, const char* payload, size_t len)
{
    RequestView req;
    if (!read_request(payload, len, req)) {
	fail(p, "malformed request");
	return;
    }
    const uint32_t seq = req.seq;
    std::string target(req.target, req.target_len);
    std::string command(req.command, req.command_len);
    if (target == kFinderTarget) {
	serve_own(p, seq, command, req.args, req.args_len);
	return;
    }
    Peer* d = resolve(target);
    if (d == NULL) {
	reply(p, seq, RESOLVE_FAILED, "Target \"" + target
	      + "\" is not registered", "");
	return;
    }
    if (!d->catch_all && d->commands.count(command) == 0) {
	reply(p, seq, RESOLVE_FAILED, "Target \"" + target
	      + "\" has no method \"" + command + "\"", "");
	return;
    }
    Forward f = { p->id, seq, true };
    uint32_t fseq = d->forward_base + static_cast<uint32_t>(d->forwards.size());
    d->forwards.push_back(f);
    std::string& out = d->conn->out();
    size_t start = out.size();
    out.append(payload - kHeaderSize, len + kHeaderSize);
    put_u32(&out[start + kHeaderSize + 1], fseq);
    d->conn->flush();
}

void
FinderServer::on_reply(Peer* p, const char* payload, size_t len)
{
    ReplyView rep;
    if (!read_reply(payload, len, rep)) {
	fail(p, "malformed reply");
	return;
    }
    const uint32_t code = rep.code;
    uint32_t idx = rep.seq - p->forward_base;
    if (idx >= p->forwards.size() || !p->forwards[idx].active) {
	log(p->instance + " answered a request it was not asked");
	return;
    }
    Forward f = p->forwards[idx];
    p->forwards[idx].active = false;
    while (!p->forwards.empty() && !p->forwards.front().active) {
	p->forwards.pop_front();
	p->forward_base++;
    }
    if (f.origin_id == 0) {
	if (code != OKAY)
	    log(p->instance + " refused an event: "
		+ XrlError(static_cast<XrlErrorCode>(code),
			   std::string(rep.note, rep.note_len)).str());
	return;
    }
    auto o = _peers.find(f.origin_id);
    if (o == _peers.end() || !o->second->conn->is_open())
	return;			// the caller has gone
    std::string& out = o->second->conn->out();
    size_t start = out.size();
    out.append(payload - kHeaderSize, len + kHeaderSize);
    put_u32(&out[start + kHeaderSize + 1], f.origin_seq);
    o->second->conn->flush();
}

void
FinderServer::send_event(Peer* to, const char* method, const Peer& subject)
{
    if (!to->conn->is_open())
	return;
    Forward f = { 0, 0, true };
    uint32_t fseq = to->forward_base + static_cast<uint32_t>(to->forwards.size());
    to->forwards.push_back(f);
    FrameWriter w(to->conn->out(), MSG_REQUEST);
    w.u32(fseq);
    w.str(to->instance);
    w.str(method, strlen(method));
    w.str(txt_arg("target_class", subject.class_name) + "&"
	  + txt_arg("target_instance", subject.instance));
    w.finish();
    to->conn->flush();
}

void
FinderServer::announce(const Peer& subject, const char* method)
{
    auto o = _observers.find(subject.class_name);
    if (o == _observers.end())
	return;
    for (Peer* obs : o->second)
	send_event(obs, method, subject);
}

void
FinderServer::serve_own(Peer* from, uint32_t seq, const std::string& command,
			const char* args, size_t args_len)
{
    std::map<std::string, std::string> a;
    if (command == "common/0.1/get_target_name") {
	reply(from, seq, OKAY, "", txt_arg("name", kFinderTarget));
	return;
    }
    if (command == "common/0.1/get_version") {
	reply(from, seq, OKAY, "", txt_arg("version", "0.1"));
	return;
    }
    if (command == "common/0.1/get_status") {
	reply(from, seq, OKAY, "", "status:u32=3&" + txt_arg("reason", "Ready"));
	return;
    }
    bool reg = command == std::string(kNotifier) + "register_class_event_interest";
    bool dereg = command == std::string(kNotifier) + "deregister_class_event_interest";
    if (!reg && !dereg) {
	reply(from, seq, RESOLVE_FAILED, "Target \"finder\" has no method \""
	      + command + "\"", "");
	return;
    }
    if (!parse_txt_args(args, args_len, a) || a.size() != 2
	|| a.count("requester_instance") == 0 || a.count("class_name") == 0) {
	reply(from, seq, BAD_ARGS,
	      "expected requester_instance:txt and class_name:txt", "");
	return;
    }
    if (a["requester_instance"] != from->instance) {
	reply(from, seq, COMMAND_FAILED, "failed (not originator).", "");
	return;
    }
    const std::string& cls = a["class_name"];
    if (dereg) {
	drop_interest(from, cls);
	reply(from, seq, OKAY, "", "");
	return;
    }
    if (!from->interests.insert(cls).second) {
	log(from->instance + " registered twice for class " + cls);
	reply(from, seq, OKAY, "", "");
	return;
    }
    _observers[cls].push_back(from);
    reply(from, seq, OKAY, "", "");
    auto c = _classes.find(cls);
    if (c != _classes.end()) {
	for (Peer* live : c->second)
	    send_event(from, kBirth, *live);
    }
}

void
FinderServer::drop_interest(Peer* p, const std::string& cls)
{
    if (p->interests.erase(cls) == 0)
	return;
    std::vector<Peer*>& v = _observers[cls];
    v.erase(std::remove(v.begin(), v.end(), p), v.end());
    if (v.empty())
	_observers.erase(cls);
}

void
FinderServer::wire_closed(WireConn* conn, const char* why)
{
    Peer* p = static_cast<Peer*>(conn->user());
    log("connection " + std::to_string(p->id)
	+ (p->named ? " (" + p->instance + ")" : std::string())
	+ " closed: " + why);
    _peers.erase(p->id);
    if (p->named)
	_by_instance.erase(p->instance);
    std::set<std::string> interests = p->interests;
    for (const std::string& cls : interests)
	drop_interest(p, cls);
    // Whoever waits for an answer from this process will not get one.
    for (size_t i = 0; i < p->forwards.size(); i++) {
	const Forward& f = p->forwards[i];
	if (!f.active || f.origin_id == 0)
	    continue;
	auto o = _peers.find(f.origin_id);
	if (o != _peers.end())
	    reply(o->second, f.origin_seq, SEND_FAILED,
		  "target " + p->instance + " closed its connection", "");
    }
    p->forwards.clear();
    if (p->enabled) {
	std::vector<Peer*>& v = _classes[p->class_name];
	v.erase(std::remove(v.begin(), v.end(), p), v.end());
	if (v.empty())
	    _classes.erase(p->class_name);
	p->enabled = false;
	announce(*p, kDeath);
    }
    _dead.push_back(p);
    if (!_reaper.scheduled())
	_reaper = _eventloop.new_oneoff_after(TimeVal(0, 0),
					      callback(this, &FinderServer::reap));
}

void
FinderServer::reap()
{
    for (Peer* p : _dead) {
	delete p->conn;
	delete p;
    }
    _dead.clear();
}
