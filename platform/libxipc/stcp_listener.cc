// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/stcp_listener.hh"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "libxipc/peer_credentials.hh"
#include "libxipc/stcp_wire.hh"
#include "libxipc/xrl_args_packing.hh"

namespace {

const int kDefaultIdleSec = 180;
// The user tag of a connection: written to since the last idle check.
void* const kWrote = reinterpret_cast<void*>(1);

// The method of a request's resolved XRL: what follows its third '/', up
// to a '?' if there is one.
bool
method_of(const std::string& head, std::string& method)
{
    const char* p = head.data();
    const char* end = p + head.size();
    for (int i = 0; i < 3; i++) {
	p = static_cast<const char*>(memchr(p, '/', end - p));
	if (p == NULL)
	    return false;
	p++;
    }
    const char* q = static_cast<const char*>(memchr(p, '?', end - p));
    method.assign(p, q == NULL ? end : q);
    return !method.empty();
}

}  // namespace

StcpListener::StcpListener(EventLoop& e, StcpDispatcher& d)
    : _eventloop(e), _dispatcher(d), _fd(-1), _busy(false)
{
}

StcpListener::~StcpListener()
{
    ErrnoSaver es;
    if (_fd >= 0) {
	_eventloop.remove_ioevent_cb(_fd, IOT_ANY);
	::close(_fd);
    }
    if (!_path.empty())
	unlink(_path.c_str());
    for (WireConn* c : _conns)
	delete c;
    _busy = false;
    reap();
}

bool
StcpListener::listen(const std::string& ip)
{
    ErrnoSaver es;
    struct sockaddr_in sin;
    memset(&sin, 0, sizeof(sin));
    sin.sin_family = AF_INET;
    if (inet_pton(AF_INET, ip.c_str(), &sin.sin_addr) != 1)
	return false;
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
	return false;
    socklen_t sl = sizeof(sin);
    if (bind(fd, reinterpret_cast<struct sockaddr*>(&sin), sizeof(sin)) < 0
	|| ::listen(fd, 128) < 0
	|| getsockname(fd, reinterpret_cast<struct sockaddr*>(&sin), &sl) < 0) {
	::close(fd);
	return false;
    }
    _address = ip + ":" + std::to_string(ntohs(sin.sin_port));
    started(fd);
    return true;
}

bool
StcpListener::listen_unix()
{
    ErrnoSaver es;
    static const char letters[] =
	"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    for (int attempt = 0; attempt < 10; attempt++) {
	unsigned char r[6];
	if (getrandom(r, sizeof(r), GRND_NONBLOCK) != sizeof(r))
	    return false;
	std::string path = "/var/tmp/xrl.";
	for (unsigned char c : r)
	    path += letters[c % (sizeof(letters) - 1)];
	struct sockaddr_un sun;
	memset(&sun, 0, sizeof(sun));
	sun.sun_family = AF_UNIX;
	memcpy(sun.sun_path, path.data(), path.size());
	int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
	if (fd < 0)
	    return false;
	if (bind(fd, reinterpret_cast<struct sockaddr*>(&sun), sizeof(sun)) < 0) {
	    bool taken = errno == EADDRINUSE;
	    ::close(fd);
	    if (taken)
		continue;
	    return false;
	}
	if (::listen(fd, 128) < 0) {
	    ::close(fd);
	    unlink(path.c_str());
	    return false;
	}
	_path = path;
	_address = path;
	for (char& c : _address)
	    if (c == '/')
		c = ':';
	started(fd);
	return true;
    }
    return false;
}

void
StcpListener::started(int fd)
{
    _fd = fd;
    _eventloop.add_ioevent_cb(fd, IOT_READ,
			      callback(this, &StcpListener::accept_ready));
    int idle = kDefaultIdleSec;
    const char* v = getenv("XORP_LISTENER_KEEPALIVE_TIMEOUT");
    if (v != NULL && *v != '\0')
	idle = atoi(v);
    if (idle > 0)
	_idle = _eventloop.new_periodic(TimeVal(idle, 0),
					callback(this, &StcpListener::idle_tick));
}

void
StcpListener::accept_ready(int, IoEventType)
{
    ErrnoSaver es;
    for (;;) {
	int fd = accept4(_fd, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
	if (fd < 0)
	    return;
	int one = 1;
	if (_path.empty())
	    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
	uid_t uid;
	std::string why;
	bool known = peer_uid(fd, uid, why);
	WireConn* c = new WireConn(_eventloop, fd, stcp::split, *this);
	c->set_user(kWrote);
	_conns.push_back(c);
	if (!known)
	    _untrusted[c] = "permission denied: caller's user unknown: " + why;
	else if (!uid_trusted(uid))
	    _untrusted[c] = "permission denied: uid "
		+ std::to_string(static_cast<unsigned long>(uid))
		+ " is neither root nor in group xorp";
    }
}

// A connection written nothing to over a whole period is closed.
bool
StcpListener::idle_tick()
{
    std::vector<WireConn*> idle;
    for (WireConn* c : _conns) {
	if (c->user() != kWrote)
	    idle.push_back(c);
	c->set_user(NULL);
    }
    for (WireConn* c : idle)
	c->close("keepalive timeout");
    return true;
}

void
StcpListener::wire_message(WireConn* conn, const char* frame, size_t)
{
    stcp::Header h;
    stcp::read_header(frame, h);
    conn->set_user(kWrote);
    if (h.type == stcp::HELO) {
	stcp::append_header(conn->out(), h.seq, stcp::HELO_ACK, OKAY, 0, 0);
	conn->flush();
	return;
    }
    if (h.type != stcp::REQUEST) {
	conn->close("a caller sent a reply");
	return;
    }
    if (_busy) {
	// A handler turned the loop and this request came meanwhile: it is
	// answered with buffers of its own.
	Work w;
	answer(conn, h, frame, w);
	return;
    }
    struct Busy {
	bool& b;
	explicit Busy(bool& x) : b(x) { b = true; }
	~Busy() { b = false; }
    } busy(_busy);
    answer(conn, h, frame, _work);
    if (!_dead.empty() && !_reaper.scheduled())	// closed meanwhile
	_reaper = _eventloop.new_oneoff_after(TimeVal(0, 0),
					      callback(this, &StcpListener::reap));
}

void
StcpListener::answer(WireConn* conn, const stcp::Header& h, const char* frame,
		     Work& w)
{
    const uint8_t* data = reinterpret_cast<const uint8_t*>(frame)
	+ stcp::kHeaderSize + h.note_len;
    XrlError result;
    w.out.clear();
    bool kept = false;
    auto refusal = _untrusted.find(conn);
    if (refusal != _untrusted.end()) {
	w.method.clear();
	result = XrlError(COMMAND_FAILED, refusal->second);
    } else if (!xrl_args_unpack(data, h.data_len, w.in, &w.head, &kept)) {
	w.method.clear();
	result = XrlError(INTERNAL_ERROR, "corrupt xrl");
    } else if ((!kept || w.method.empty()) && !method_of(w.head, w.method)) {
	w.method.clear();
	result = XrlError(INTERNAL_ERROR, "corrupt xrl");
    } else {
	result = _dispatcher.stcp_dispatch(w.method, w.in, w.out);
	if (!conn->is_open())
	    return;
    }
    if (!result.isOK())
	w.out.clear();
    std::string& out = conn->out();
    const std::string& note = result.note();
    size_t at = out.size();
    stcp::append_header(out, h.seq, stcp::RESPONSE, result.error_code(),
			static_cast<uint32_t>(note.size()), 0);
    if (!note.empty())
	out += note;
    size_t data_at = out.size();
    xrl_args_pack(out, w.out);
    if (out.size() - at > stcp::kMaxPacket) {
	// Too long for a caller to take: the code survives, the rest not.
	out.resize(at);
	std::string why = result.isOK() ? "reply longer than 16 MiB"
	    : note.substr(0, 65536) + "...";
	uint32_t code = result.isOK() ? uint32_t(INTERNAL_ERROR)
	    : uint32_t(result.error_code());
	stcp::append_header(out, h.seq, stcp::RESPONSE, code,
			    static_cast<uint32_t>(why.size()), 0);
	out += why;
	data_at = out.size();
	xrl_args_pack(out, XrlArgs());
    }
    stcp::set_data_len(out, at, static_cast<uint32_t>(out.size() - data_at));
    conn->flush();
}

void
StcpListener::wire_bad_frame(WireConn* conn, const char* why)
{
    conn->close(why);
}

void
StcpListener::wire_closed(WireConn* conn, const char*)
{
    _conns.erase(std::remove(_conns.begin(), _conns.end(), conn), _conns.end());
    _untrusted.erase(conn);
    _dead.push_back(conn);
    if (!_reaper.scheduled())
	_reaper = _eventloop.new_oneoff_after(TimeVal(0, 0),
					      callback(this, &StcpListener::reap));
}

void
StcpListener::reap()
{
    if (_busy)
	return;		// wire_message() schedules it again when done
    for (WireConn* c : _dead)
	delete c;
    _dead.clear();
}
