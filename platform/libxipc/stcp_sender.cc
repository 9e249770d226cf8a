// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/stcp_sender.hh"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "libxipc/peer_credentials.hh"
#include "libxipc/stcp_wire.hh"
#include "libxipc/xrl_args_packing.hh"

namespace {

const int kDefaultKeepaliveSec = 10;
// A connection to a local listener takes no longer than this.
const int kConnectTimeoutMs = 1000;

// A socket connected to "stcp://ip:port" or "unix://:path:with:colons",
// or -1.
int
connect_to(const std::string& address)
{
    int fd = -1;
    if (address.compare(0, 7, "stcp://") == 0) {
	std::string hp = address.substr(7);
	size_t colon = hp.rfind(':');
	struct sockaddr_in sin;
	memset(&sin, 0, sizeof(sin));
	sin.sin_family = AF_INET;
	char* end = NULL;
	long port = colon == std::string::npos ? 0
	    : strtol(hp.c_str() + colon + 1, &end, 10);
	if (port <= 0 || port > 65535 || *end != '\0'
	    || inet_pton(AF_INET, hp.substr(0, colon).c_str(),
			 &sin.sin_addr) != 1) {
	    errno = EINVAL;
	    return -1;
	}
	sin.sin_port = htons(static_cast<uint16_t>(port));
	fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
	if (fd < 0)
	    return -1;
	struct timeval tv = { 0, kConnectTimeoutMs * 1000 };
	setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof(tv));
	if (::connect(fd, reinterpret_cast<struct sockaddr*>(&sin),
		      sizeof(sin)) < 0) {
	    int e = errno;
	    ::close(fd);
	    errno = e;
	    return -1;
	}
	int one = 1;
	setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
    } else if (address.compare(0, 7, "unix://") == 0) {
	std::string path = address.substr(7);
	for (char& c : path)
	    if (c == ':')
		c = '/';
	struct sockaddr_un sun;
	memset(&sun, 0, sizeof(sun));
	sun.sun_family = AF_UNIX;
	if (path.empty() || path.size() >= sizeof(sun.sun_path)) {
	    errno = EINVAL;
	    return -1;
	}
	memcpy(sun.sun_path, path.data(), path.size());
	fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
	if (fd < 0)
	    return -1;
	if (::connect(fd, reinterpret_cast<struct sockaddr*>(&sun),
		      sizeof(sun)) < 0) {
	    int e = errno;
	    ::close(fd);
	    errno = e;
	    return -1;
	}
    } else {
	errno = EPROTONOSUPPORT;
	return -1;
    }
    struct timeval none = { 0, 0 };
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &none, sizeof(none));
    int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    return fd;
}

}  // namespace

StcpSender::StcpSender(EventLoop& e, const std::string& address,
		       StcpSenderOwner& o)
    : _eventloop(e), _address(address), _owner(o), _conn(NULL), _base(0),
      _outstanding(0), _read_since_tick(false), _helo_out(false)
{
}

StcpSender::~StcpSender()
{
    delete _conn;
}

bool
StcpSender::connect(std::string& why)
{
    ErrnoSaver es;
    int fd = connect_to(_address);
    if (fd < 0) {
	why = strerror(errno);
	return false;
    }
    // Nothing is sent to a listener of an untrusted process.
    uid_t uid;
    why.clear();
    if (!listener_uid(fd, uid, why) || !uid_trusted(uid)) {
	if (why.empty())
	    why = "target at " + _address + " is run by uid "
		+ std::to_string(static_cast<unsigned long>(uid))
		+ ", not trusted";
	::close(fd);
	return false;
    }
    _conn = new WireConn(_eventloop, fd, stcp::split, *this);
    int secs = kDefaultKeepaliveSec;
    const char* v = getenv("XORP_SENDER_KEEPALIVE_TIME");
    if (v != NULL && atoi(v) > 0)
	secs = atoi(v);
    _keepalive = _eventloop.new_periodic(
	TimeVal(secs, 0), callback(this, &StcpSender::keepalive_tick));
    return true;
}

void
StcpSender::send(uint64_t call, const std::string& head, const XrlArgs& args)
{
    std::string& out = _conn->out();
    size_t at = out.size();
    uint32_t seq = _base + static_cast<uint32_t>(_calls.size());
    stcp::append_header(out, seq, stcp::REQUEST, OKAY, 0, 0);
    xrl_args_pack(out, args, &head);
    stcp::set_data_len(out, at, static_cast<uint32_t>(
			   out.size() - at - stcp::kHeaderSize));
    _calls.push_back(call);
    _outstanding++;
    _conn->flush();
}

bool
StcpSender::keepalive_tick()
{
    if (_read_since_tick) {
	_read_since_tick = false;
	return true;
    }
    if (_helo_out) {
	_conn->close("keepalive timeout");
	return false;
    }
    _helo_out = true;
    stcp::append_header(_conn->out(), _base + static_cast<uint32_t>(_calls.size()),
			stcp::HELO, OKAY, 0, 0);
    _calls.push_back(0);
    _conn->flush();
    return true;
}

void
StcpSender::wire_message(WireConn* conn, const char* frame, size_t len)
{
    UNUSED(len);
    stcp::Header h;
    stcp::read_header(frame, h);
    _read_since_tick = true;
    uint32_t idx = h.seq - _base;
    if ((h.type != stcp::RESPONSE && h.type != stcp::HELO_ACK)
	|| idx >= _calls.size()) {
	conn->close("bad sequence number or packet type from the target");
	return;
    }
    uint64_t call = _calls[idx];
    _calls[idx] = 0;
    while (!_calls.empty() && _calls.front() == 0) {
	_calls.pop_front();
	_base++;
    }
    if (h.type == stcp::HELO_ACK) {
	_helo_out = false;
	return;
    }
    if (call == 0)
	return;			// answered twice: the first answer stands
    _outstanding--;
    XrlError err(static_cast<XrlErrorCode>(h.code),
		 std::string(frame + stcp::kHeaderSize, h.note_len));
    if (!err.isOK()) {
	_owner.stcp_answer(call, err, NULL);
	return;
    }
    const uint8_t* data = reinterpret_cast<const uint8_t*>(frame)
	+ stcp::kHeaderSize + h.note_len;
    if (!xrl_args_unpack(data, h.data_len, _args)) {
	_owner.stcp_answer(call, XrlError(BAD_ARGS, "bad reply: corrupt "
					  "return values"), NULL);
	return;
    }
    _owner.stcp_answer(call, err, &_args);
}

void
StcpSender::wire_bad_frame(WireConn* conn, const char* why)
{
    conn->close(why);
}

void
StcpSender::wire_closed(WireConn*, const char* why)
{
    _keepalive.unschedule();
    std::vector<uint64_t> lost;
    for (uint64_t c : _calls)
	if (c != 0)
	    lost.push_back(c);
    _calls.clear();
    _outstanding = 0;
    _owner.stcp_lost(this, lost, why);
}
