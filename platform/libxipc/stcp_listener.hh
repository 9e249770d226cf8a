// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// A target's STCP listener: accepts callers' connections, answers each
// REQUEST with a RESPONSE (handled in arrival order) and each HELO with a
// HELO_ACK, and closes a connection it has written nothing to for the
// keepalive time (XORP_LISTENER_KEEPALIVE_TIMEOUT seconds, default 180, 0
// for never) or that breaks the framing.  The caller's user comes from the
// kernel when it connects (peer_credentials.hh); requests of a caller that
// is not trusted are answered COMMAND_FAILED and never run.

#ifndef __LIBXIPC_STCP_LISTENER_HH__
#define __LIBXIPC_STCP_LISTENER_HH__

#include <string>
#include <unordered_map>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"
#include "libxipc/xrl_args.hh"
#include "libxipc/stcp_wire.hh"
#include "libxipc/xrl_error.hh"
#include "libxipc/xrl_wire_conn.hh"

class StcpDispatcher {
public:
    virtual ~StcpDispatcher() {}
    // Runs the handler of a resolved method name ("iface/ver/method-cookie")
    // with `in`; the answer goes to `out` and the result's code and note.
    virtual XrlError stcp_dispatch(const std::string& method,
				   const XrlArgs& in, XrlArgs& out) = 0;
};

class StcpListener : public WireConnHandler {
public:
    StcpListener(EventLoop& e, StcpDispatcher& d);
    ~StcpListener();

    // Listens on `ip` (dotted IPv4), on a port of the system's choice.
    bool listen(const std::string& ip);
    // Listens on a new unix socket /var/tmp/xrl.XXXXXX, removed again when
    // the listener goes.
    bool listen_unix();
    // "stcp" or "unix", and the address: "<ip>:<port>", or the socket's
    // path with every '/' written ':' (add_xrl's protocol_name and _args).
    const char* protocol() const { return _path.empty() ? "stcp" : "unix"; }
    const std::string& address() const { return _address; }

    // WireConnHandler
    void wire_message(WireConn* conn, const char* frame, size_t len);
    void wire_bad_frame(WireConn* conn, const char* why);
    void wire_closed(WireConn* conn, const char* why);

private:
    // What answering a request works in: reused from one to the next.
    // _method is empty, or the method of _head.
    struct Work {
	XrlArgs		in;
	XrlArgs		out;
	std::string	head;
	std::string	method;
    };

    void answer(WireConn* conn, const stcp::Header& h, const char* frame,
		Work& w);
    void accept_ready(int fd, IoEventType t);
    bool idle_tick();
    void started(int fd);
    void reap();

    EventLoop&			_eventloop;
    StcpDispatcher&		_dispatcher;
    int				_fd;
    std::string			_address;
    std::string			_path;
    std::vector<WireConn*>	_conns;
    std::vector<WireConn*>	_dead;
    // Connections of untrusted callers, with the refusal's note.
    std::unordered_map<WireConn*, std::string> _untrusted;
    XorpTimer			_idle;
    XorpTimer			_reaper;
    Work			_work;
    // A request is being answered with _work: a handler that turns the
    // loop must not see it overwritten by the next request, nor its
    // connection deleted.
    bool			_busy;
};

#endif // __LIBXIPC_STCP_LISTENER_HH__
