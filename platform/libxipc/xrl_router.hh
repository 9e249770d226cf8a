// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// XrlRouter: a process's end of the XRL transport, speaking XORP's wire
// protocol.  It holds the process's finder link (finder_wire.hh): registers
// its instance, adds one resolution per handler for its STCP listener and
// enables itself, answers the finder's own requests (hello, cache notices,
// tunnelled events).  An XRL is resolved once through the finder; then the
// router connects straight to the target's listener and keeps that
// connection for later calls (stcp_sender.hh).  XRLs to the target
// "finder" go over the finder link.

#ifndef __LIBXIPC_XRL_ROUTER_HH__
#define __LIBXIPC_XRL_ROUTER_HH__

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "libxorp/xorp.h"
#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"
#include "libxipc/finder_client.hh"
#include "libxipc/stcp_listener.hh"
#include "libxipc/stcp_sender.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_cmd_map.hh"
#include "libxipc/xrl_error.hh"
#include "libxipc/xrl_sender.hh"

// Handler for any command the command map does not hold: (command, in, out).
typedef XorpCallback3<const XrlCmdError, const std::string&, const XrlArgs&,
		      XrlArgs*>::RefPtr XrlRecvAnyCallback;

class XrlRouter : public XrlCmdMap, public XrlSender,
		  private FinderClientObserver, private StcpDispatcher,
		  private StcpSenderOwner {
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
    // Why the last finder reached was refused (not run by root or by our
    // user), or empty once a finder is accepted.
    const std::string& finder_refusal() const { return _finder_refusal; }
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
    // The finder then resolves any method of this target to it.
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
    struct Call {
	XrlSender::Callback	cb;
	TimeVal			deadline;
	bool			active;
    };
    typedef std::function<void(uint32_t, const std::string&,
			       const std::string&)> FinderDone;
    struct FinderRequest {
	std::string	xrl;
	FinderDone	done;
    };
    enum WaitState { WAIT_RESOLVING, WAIT_RESOLVED, WAIT_FAILED };
    struct Waiting {
	uint64_t	call;
	std::string	key;
	XrlArgs		args;
	WaitState	state;
	XrlError	error;
    };

    // FinderClientObserver
    void finder_client_connected();
    void finder_client_message(const char* frame, size_t len);
    void finder_client_disconnected(const std::string& why);
    void finder_client_gave_up();
    void finder_client_refused(const std::string& why);

    // The finder link: one request of ours outstanding at a time.
    void finder_request(const std::string& xrl, const FinderDone& done);
    void finder_pump();
    void finder_timed_out();
    void on_finder_request(uint32_t seq, const char* body, size_t len);
    void on_finder_reply(uint32_t seq, const char* body, size_t len);
    void answer_finder(uint32_t seq, uint32_t code, const std::string& note,
		       const std::string& args);
    void start_registration();
    void registration_step(uint32_t code, const std::string& note,
			   const std::string& args, const std::string& cmd);

    // Calls.
    uint64_t new_call(const XrlSender::Callback& cb);
    void complete(uint64_t call, const XrlError& e, XrlArgs* args);
    void fail_later(uint64_t call, const XrlError& e);
    void fail_pending_now();
    void retire_front();
    void arm_timeout();
    void check_timeouts();
    void resolve(const std::string& key);
    void resolved(const std::string& key, uint32_t code,
		  const std::string& note, const std::string& args);
    void drain_waiting();
    void send_direct(uint64_t call, const std::string& key,
		     const XrlArgs& args);
    bool route_matches(const std::string& target,
		       const std::string& command) const;

    // StcpDispatcher, StcpSenderOwner
    XrlError stcp_dispatch(const std::string& method, const XrlArgs& in,
			   XrlArgs& out);
    void stcp_answer(uint64_t call, const XrlError& e, XrlArgs* args);
    void stcp_lost(StcpSender* s, const std::vector<uint64_t>& calls,
		   const std::string& why);
    void reap_senders();

    EventLoop&		_eventloop;
    std::string		_class_name;
    std::string		_local_ip;
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
    std::string		_cookie;	// from register_finder_client
    std::string		_finder_refusal;

    std::deque<FinderRequest> _fq;	// front is outstanding when _f_waiting
    bool		_f_waiting;
    uint32_t		_f_seq;
    uint32_t		_next_seq;	// of our finder requests, never reset
    XorpTimer		_f_timer;

    std::unique_ptr<StcpListener> _listener;
    // Resolved method names ("iface/ver/method-cookie") to commands; the
    // names of earlier registrations stay valid.
    std::unordered_map<std::string, std::string> _methods;
    std::set<std::string> _catch_all_cookies;
    // The method the listener last brought and its handler, while the
    // handlers stay as they were: the next call of it skips both lookups.
    std::string		_last_method;
    const XrlCmdEntry*	_last_entry = nullptr;
    uint64_t		_last_generation = 0;

    std::deque<Call>	_calls;		// by call number from _calls_base
    uint64_t		_calls_base;
    size_t		_outstanding;
    XorpTimer		_timeout_timer;
    std::vector<std::pair<uint64_t, XrlError> > _failed;
    XorpTimer		_failed_timer;

    std::unordered_map<std::string, std::vector<std::string> > _cache;
    std::set<std::string> _resolving;
    std::deque<Waiting>	_waiting;	// sends kept in order behind resolves
    std::map<std::string, StcpSender*> _senders;	// by "proto://addr"
    std::vector<StcpSender*> _dead_senders;
    // The last XRL sent straight to a target, so that the next one to the
    // same method skips building its key and the two lookups.  Cleared
    // (sender null) whenever the resolutions or the senders change.
    struct Route {
	std::string	key;		// "finder://<target>/<command>"
	const std::string* resolution = NULL;	// in _cache[key]
	StcpSender*	sender = NULL;
    } _route;
    XorpTimer		_reaper;
};

// Turns the loop until the router is ready; exits the process if it fails.
void wait_until_xrl_router_is_ready(EventLoop& e, XrlRouter& router);

#endif // __LIBXIPC_XRL_ROUTER_HH__
