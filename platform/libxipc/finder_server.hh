// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// The finder: every process holds one connection to it, registers its class,
// instance name and commands, and sends its XRLs through it.  The finder
// resolves each target (an instance name, or a class name meaning that
// class's oldest enabled instance), relays requests and replies, answers its
// own target "finder" and tells observers of births and deaths.

#ifndef __LIBXIPC_FINDER_SERVER_HH__
#define __LIBXIPC_FINDER_SERVER_HH__

#include <deque>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"
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

    // WireConnHandler
    void wire_message(WireConn* conn, const char* payload, size_t len);
    void wire_bad_frame(WireConn* conn, const char* why);
    void wire_closed(WireConn* conn, const char* why);

private:
    struct Forward {
	uint32_t origin_id;	// 0: the finder itself
	uint32_t origin_seq;
	bool	 active;
    };
    struct Peer {
	uint32_t			id;
	WireConn*			conn;
	std::string			class_name;
	std::string			instance;
	bool				named;
	bool				enabled;
	bool				catch_all;
	std::unordered_set<std::string>	commands;
	std::deque<Forward>		forwards;	// requests it owes
	uint32_t			forward_base;	// seq of forwards[0]
	std::set<std::string>		interests;	// classes it observes
    };

    void accept_ready(int fd, IoEventType t);
    void pause_accepting();
    void resume_accepting();
    void reap();
    void fail(Peer* p, const std::string& why);

    void on_hello(Peer* p, const char* payload, size_t len);
    void on_register(Peer* p, const char* payload, size_t len);
    void on_request(Peer* p, const char* payload, size_t len);
    void on_reply(Peer* p, const char* payload, size_t len);

    Peer* resolve(const std::string& target);
    void reply(Peer* to, uint32_t seq, uint32_t code, const std::string& note,
	       const std::string& args);
    void send_event(Peer* to, const char* method, const Peer& subject);
    void announce(const Peer& subject, const char* method);
    void serve_own(Peer* from, uint32_t seq, const std::string& command,
		   const char* args, size_t args_len);
    void drop_interest(Peer* p, const std::string& cls);
    void log(const std::string& what) const;

    EventLoop&				_eventloop;
    bool				_verbose;
    int					_listen_fd;
    uint16_t				_port;
    std::string				_error;
    uint32_t				_next_id;
    std::unordered_map<uint32_t, Peer*>	_peers;
    std::unordered_map<std::string, Peer*> _by_instance;
    std::map<std::string, std::vector<Peer*> > _classes;    // enabled, oldest first
    std::map<std::string, std::vector<Peer*> > _observers;  // by observed class
    std::vector<Peer*>			_dead;
    XorpTimer				_reaper;
    XorpTimer				_accept_pause;
};

#endif // __LIBXIPC_FINDER_SERVER_HH__
