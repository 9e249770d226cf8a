// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// XrlRouter: a process's end of the XRL transport.  It holds the connection
// to the finder, registers the process's class, instance name and commands
// there, sends XRLs (to a class or an instance name) and dispatches the XRLs
// it receives to the handlers of its command map.

#ifndef __LIBXIPC_XRL_ROUTER_HH__
#define __LIBXIPC_XRL_ROUTER_HH__

#include <deque>
#include <string>

#include "libxorp/xorp.h"
#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"
#include "libxipc/finder_client.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_cmd_map.hh"
#include "libxipc/xrl_error.hh"
#include "libxipc/xrl_sender.hh"

// Handler for any command the command map does not hold: (command, in, out).
typedef XorpCallback3<const XrlCmdError, const std::string&, const XrlArgs&,
		      XrlArgs*>::RefPtr XrlRecvAnyCallback;

class XrlRouter : public XrlCmdMap, public XrlSender,
		  private FinderClientObserver {
public:
    // finder_addr is a dotted IPv4 address.
    XrlRouter(EventLoop& e, const char* class_name,
	      const char* finder_addr, uint16_t finder_port);
    virtual ~XrlRouter();

    // Registers the handlers with the finder; ready() follows its answer.
    void finalize();

    bool ready() const { return _ready; }
    // The finder could not be reached in time and nothing is registered.
    bool failed() const { return _finder.gave_up() && !_ready; }
    bool connected() const { return _finder.connected(); }
    // XRLs sent and not yet answered.
    bool pending() const { return _outstanding != 0; }

    const std::string& instance_name() const { return _instance_name; }
    const std::string& class_name() const { return _class_name; }
    EventLoop& eventloop() { return _eventloop; }
    const std::string& finder_address() const { return _finder_addr; }
    uint16_t finder_port() const { return _finder_port; }

    // Sends `xrl` to its target (class or instance name).  False, and the
    // callback never called, when there is no finder connection.  Otherwise
    // the callback gets the answer later, from the event loop.
    bool send(const Xrl& xrl, const XrlSender::Callback& cb);

    // Answers every command not in the command map (before finalize()).
    // The finder then routes any method of this target here.
    void set_catch_all_handler(const XrlRecvAnyCallback& cb);

    // Reconnection hook.  Called each time the router is registered with the
    // finder again after it lost the finder (a finder restart), never at the
    // first registration.  A new finder knows nothing of what was asked of
    // the old one (interest in classes, for one), so the owner asks again
    // here.  Part of the router's interface to daemons: any transport under
    // the router keeps it.
    typedef XorpCallback0<void>::RefPtr FinderReconnectedCallback;
    void set_finder_reconnected_callback(const FinderReconnectedCallback& cb) {
	_finder_reconnected = cb;
    }

    // How long an XRL may wait for its answer (default 30 s).
    void set_reply_timeout(const TimeVal& t) { _reply_timeout = t; }

protected:
    // Hooks for a daemon that derives from the router.
    virtual void finder_connect_event() {}
    virtual void finder_disconnect_event() {}
    virtual void finder_ready_event(const std::string& tgt) { UNUSED(tgt); }

private:
    struct Pending {
	XrlSender::Callback	cb;
	TimeVal			deadline;
	bool			active;
    };

    // FinderClientObserver
    void finder_client_connected();
    void finder_client_message(const char* payload, size_t len);
    void finder_client_disconnected(const std::string& why);
    void finder_client_gave_up();

    void send_registration();
    void on_request(const char* payload, size_t len);
    void on_reply(const char* payload, size_t len);
    void answer(uint32_t seq, uint32_t code, const std::string& note,
		const std::string& args);
    void retire_front();
    void arm_timeout();
    void check_timeouts();

    EventLoop&		_eventloop;
    std::string		_class_name;
    std::string		_instance_name;
    std::string		_finder_addr;
    uint16_t		_finder_port;
    FinderClient	_finder;
    bool		_finalized;
    bool		_ready;
    bool		_registered_before;
    FinderReconnectedCallback _finder_reconnected;
    XrlRecvAnyCallback	_catch_all;
    TimeVal		_reply_timeout;

    std::deque<Pending>	_pending;	// by sequence number from _pending_base
    uint32_t		_pending_base;
    size_t		_outstanding;
    XorpTimer		_timeout_timer;

    std::string		_scratch;	// reused for incoming text
};

// Turns the loop until the router is ready; exits the process if it fails.
void wait_until_xrl_router_is_ready(EventLoop& e, XrlRouter& router);

#endif // __LIBXIPC_XRL_ROUTER_HH__
