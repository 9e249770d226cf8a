// Blocking loopback sockets that speak XORP's wire protocol by hand while an
// event loop serves the other end (the transport tests).

#ifndef TESTS_UNIT_TRANSPORT_RAW_PEER_HH
#define TESTS_UNIT_TRANSPORT_RAW_PEER_HH

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "libxorp/eventloop.hh"
#include "libxipc/big_endian.hh"
#include "libxipc/finder_wire.hh"

// Turns the loop until `done`; the deadline only guards against a hang.
inline bool
run_until(EventLoop& e, const std::function<bool()>& done)
{
    bool expired = false;
    XorpTimer guard = e.set_flag_after(TimeVal(10, 0), &expired);
    while (!done() && !expired)
	e.run();
    return done();
}

// True once `fd` has something to read (or was closed).
inline bool
run_until_readable(EventLoop& e, int fd)
{
    return run_until(e, [fd] {
	pollfd p = { fd, POLLIN, 0 };
	return poll(&p, 1, 0) == 1;
    });
}

inline sockaddr_in
loopback(uint16_t port)
{
    sockaddr_in sin = {};
    sin.sin_family = AF_INET;
    sin.sin_port = htons(port);
    sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return sin;
}

// Finder link frames to the finder, STCP packets to a target.
class RawPeer {
public:
    RawPeer(EventLoop& e, uint16_t port) : _e(e), _fd(socket(AF_INET, SOCK_STREAM, 0)) {
	sockaddr_in sin = loopback(port);
	EXPECT_EQ(0, connect(_fd, reinterpret_cast<sockaddr*>(&sin), sizeof(sin)));
    }
    RawPeer(EventLoop& e, int fd) : _e(e), _fd(fd) { EXPECT_LE(0, fd); }
    ~RawPeer() { if (_fd >= 0) close(_fd); }
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
	frame.resize(hdr);
	if (!run_until_readable(_e, _fd) || !read_all(&frame[0], hdr))
	    return false;
	size_t n = hdr == 4 ? get_u32(&frame[0]) : size_t(get_u32(&frame[16])) + get_u32(&frame[20]);
	frame.resize(hdr + n);
	return read_all(&frame[hdr], n);
    }
    void shut() { close(_fd); _fd = -1; }

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

    EventLoop& _e;
    int _fd;
    uint32_t _seq = 1000;
};

// A listening socket on 127.0.0.1 that never answers by itself.
struct RawListener {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    uint16_t port = 0;
    RawListener() {
	sockaddr_in sin = loopback(0);
	EXPECT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&sin), sizeof(sin)));
	listen(fd, 8);
	socklen_t len = sizeof(sin);
	getsockname(fd, reinterpret_cast<sockaddr*>(&sin), &len);
	port = ntohs(sin.sin_port);
    }
    ~RawListener() { if (fd >= 0) close(fd); }
};

#endif  // TESTS_UNIT_TRANSPORT_RAW_PEER_HH
