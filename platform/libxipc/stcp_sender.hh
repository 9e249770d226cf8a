// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// A caller's connection to one target listener ("stcp://ip:port" or
// "unix://path"), kept for every later call to that address.  Requests are
// pipelined, each numbered; responses are matched by number.  When nothing
// has been read for the keepalive time (XORP_SENDER_KEEPALIVE_TIME seconds,
// default 10) a HELO goes out, and a HELO still unanswered a period later
// ends the connection.  Whatever ends the connection fails every request
// still outstanding on it.  A listener whose process is not trusted
// (peer_credentials.hh) is not connected to.

#ifndef __LIBXIPC_STCP_SENDER_HH__
#define __LIBXIPC_STCP_SENDER_HH__

#include <deque>
#include <string>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"
#include "libxipc/xrl_args.hh"
#include "libxipc/xrl_error.hh"
#include "libxipc/xrl_wire_conn.hh"

class StcpSender;

class StcpSenderOwner {
public:
    virtual ~StcpSenderOwner() {}
    // The answer to request `call`; args is null unless code is OKAY.
    virtual void stcp_answer(uint64_t call, const XrlError& e,
			     XrlArgs* args) = 0;
    // The connection ended; `calls` were outstanding on it.  The sender may
    // be deleted from a later turn only.
    virtual void stcp_lost(StcpSender* s, const std::vector<uint64_t>& calls,
			   const std::string& why) = 0;
};

class StcpSender : public WireConnHandler {
public:
    // `address` is the resolution's "proto://addr" prefix.
    StcpSender(EventLoop& e, const std::string& address, StcpSenderOwner& o);
    ~StcpSender();

    const std::string& address() const { return _address; }
    // Connects (at once: the address is a local one); false when that
    // fails, with the reason in `why`.
    bool connect(std::string& why);
    bool is_open() const { return _conn != NULL && _conn->is_open(); }

    // Sends `args` to the resolved XRL `head` as request `call`.
    void send(uint64_t call, const std::string& head, const XrlArgs& args);
    size_t outstanding() const { return _outstanding; }

    // WireConnHandler
    void wire_message(WireConn* conn, const char* frame, size_t len);
    void wire_bad_frame(WireConn* conn, const char* why);
    void wire_closed(WireConn* conn, const char* why);

private:
    bool keepalive_tick();

    EventLoop&		_eventloop;
    std::string		_address;
    StcpSenderOwner&	_owner;
    WireConn*		_conn;
    std::deque<uint64_t> _calls;	// by seqno from _base; 0: a HELO or done
    uint32_t		_base;
    size_t		_outstanding;
    bool		_read_since_tick;
    bool		_helo_out;
    XorpTimer		_keepalive;
    XrlArgs		_args;		// reused per response
};

#endif // __LIBXIPC_STCP_SENDER_HH__
