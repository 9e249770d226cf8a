// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// The finder, speaking XORP's finder protocol 0.2 (finder_wire.hh): every
// process holds one connection to it, registers its instance, adds one
// resolution per handler and enables itself; callers resolve an XRL once and
// then talk to the target directly.  The finder also answers its own target
// "finder" (finder/0.2, finder_event_notifier/0.1, common/0.1), tells
// clients to drop cached resolutions of departed targets, tunnels births and
// deaths to observers, and says hello to every connection every 100 s.
// Each connection's user comes from the kernel (peer_credentials.hh): a
// class name resolved for a trusted caller only ever yields instances that
// trusted processes registered, trusted observers of a class hear only of
// those, and only trusted callers may stop the finder.

#ifndef __LIBXIPC_FINDER_SERVER_HH__
#define __LIBXIPC_FINDER_SERVER_HH__

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"
#include "libxipc/xrl_args.hh"
#include "libxipc/xrl_wire_conn.hh"

class FinderServer : public WireConnHandler {
public:
    // Listens on 127.0.0.1:port.  listening() tells whether that worked.
    FinderServer(EventLoop& e, uint16_t port, bool verbose = false);
    ~FinderServer();

    bool listening() const { return _listen_fd >= 0; }
    // Reason of the failure to listen.
    const std::string& error() const { return _error; }
    // The port actually bound (useful when 0 was asked for).
    uint16_t port() const { return _port; }
    // common/0.1/shutdown was called.
    bool shutdown_requested() const { return _shutdown; }

    // Time a client has to answer one of the finder's requests.
    static const int kRequestTimeoutSec = 30;
    static const int kHelloPeriodSec = 100;

    // WireConnHandler
    void wire_message(WireConn* conn, const char* frame, size_t len);
    void wire_bad_frame(WireConn* conn, const char* why);
    void wire_closed(WireConn* conn, const char* why);

private:
    struct Conn {
	uint32_t			id;
	WireConn*			wc;
	std::deque<std::string>		queue;		// requests not yet sent
	bool				waiting;	// one is outstanding
	uint32_t			waiting_seq;
	XorpTimer			timeout;
	std::vector<std::string>	instances;	// registered through it
	uid_t				uid;		// of the peer, from the kernel
	bool				trusted;	// uid_trusted(uid)
    };
    struct Instance {
	std::string			name;
	std::string			cls;
	std::string			cookie;
	Conn*				owner;
	bool				enabled;
	bool				singleton;
	std::vector<std::string>	keys;		// in registration order
	std::map<std::string, std::vector<std::string> > res;
	std::vector<std::string>	catch_all;	// "proto://addr/*-cookie"
	std::set<std::string>		class_watches;
	std::set<std::string>		instance_watches;
    };
    struct Reply {
	uint32_t	code;
	std::string	note;
	XrlArgs		out;
    };
    typedef void (FinderServer::*Method)(Conn*, const XrlArgs&, Reply&);

    void accept_ready(int fd, IoEventType t);
    void pause_accepting();
    void resume_accepting();
    void reap();
    std::vector<Conn*> conns() const;
    void drop(Conn* c, const std::string& why);
    void request_timed_out(Conn* c);
    void log(const std::string& what) const;

    void on_request(Conn* c, uint32_t seq, const char* body, size_t len);
    void on_reply(Conn* c, uint32_t seq, const char* body, size_t len);
    void push(Conn* c, const std::string& xrl);
    void pump(Conn* c);
    bool hello_tick();

    std::string new_cookie();
    Instance* owned(Conn* c, const std::string& name, Reply& r);
    Instance* originator(Conn* c, const std::string& name, Reply& r);
    // The instance a class name resolves to: its oldest of a trusted
    // process, else (for untrusted callers) its oldest.
    Instance* primary(const std::string& cls, bool trusted_only);
    bool conflicts(const std::string& cls, bool singleton, bool trusted_only);
    bool told_to(const Instance* observer, const Instance& subject) const;
    bool refused(Conn* c, Reply& r) const;
    void depart(Instance* inst, bool remove);
    void tunnel(Instance* observer, const char* event, const Instance& subject);
    void births_for(Instance* observer, const std::string& cls);
    bool resolve(const std::string& text, bool trusted,
		 std::vector<std::string>& out, std::string& why);

    // finder/0.2
    void register_finder_client(Conn*, const XrlArgs&, Reply&);
    void unregister_finder_client(Conn*, const XrlArgs&, Reply&);
    void set_finder_client_enabled(Conn*, const XrlArgs&, Reply&);
    void finder_client_enabled(Conn*, const XrlArgs&, Reply&);
    void add_xrl(Conn*, const XrlArgs&, Reply&);
    void remove_xrl(Conn*, const XrlArgs&, Reply&);
    void resolve_xrl(Conn*, const XrlArgs&, Reply&);
    void get_xrl_targets(Conn*, const XrlArgs&, Reply&);
    void get_xrls_registered_by(Conn*, const XrlArgs&, Reply&);
    void get_ipv4_permitted_hosts(Conn*, const XrlArgs&, Reply&);
    void get_ipv4_permitted_nets(Conn*, const XrlArgs&, Reply&);
    void get_ipv6_permitted_hosts(Conn*, const XrlArgs&, Reply&);
    void get_ipv6_permitted_nets(Conn*, const XrlArgs&, Reply&);
    // finder_event_notifier/0.1
    void register_class_event_interest(Conn*, const XrlArgs&, Reply&);
    void deregister_class_event_interest(Conn*, const XrlArgs&, Reply&);
    void register_instance_event_interest(Conn*, const XrlArgs&, Reply&);
    void deregister_instance_event_interest(Conn*, const XrlArgs&, Reply&);
    // common/0.1
    void get_target_name(Conn*, const XrlArgs&, Reply&);
    void get_version(Conn*, const XrlArgs&, Reply&);
    void get_status(Conn*, const XrlArgs&, Reply&);
    void shutdown(Conn*, const XrlArgs&, Reply&);
    void startup(Conn*, const XrlArgs&, Reply&);

    EventLoop&				_eventloop;
    bool				_verbose;
    int					_listen_fd;
    uint16_t				_port;
    std::string				_error;
    bool				_shutdown;
    uint32_t				_next_id;
    uint32_t				_seq;		// shared by all connections
    uint32_t				_cookie_counter;
    std::map<std::string, Method>	_methods;
    std::unordered_map<uint32_t, Conn*>	_conns;
    std::map<std::string, Instance*>	_instances;
    std::map<std::string, std::vector<Instance*> > _classes;  // oldest first
    std::vector<std::function<void()> >	_after_reply;
    std::vector<Conn*>			_dead;
    XorpTimer				_reaper;
    XorpTimer				_accept_pause;
    XorpTimer				_hello;
};

#endif // __LIBXIPC_FINDER_SERVER_HH__
