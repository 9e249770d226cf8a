// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// The connection of one process to the finder.  Connects (retrying every
// 100 ms; giving up after a time if the first connection never succeeds),
// and reconnects the same way when the finder goes away.  A finder run by
// another user than root or this process's is taken for no finder at all.

#ifndef __LIBXIPC_FINDER_CLIENT_HH__
#define __LIBXIPC_FINDER_CLIENT_HH__

#include <string>

#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"
#include "libxipc/finder_wire.hh"

class FinderClientObserver {
public:
    virtual ~FinderClientObserver() {}
    // Connected: the observer registers by queuing frames on out().
    virtual void finder_client_connected() = 0;
    virtual void finder_client_message(const char* frame, size_t len) = 0;
    // The connection is lost (or refused by the finder); reconnecting starts.
    virtual void finder_client_disconnected(const std::string& why) = 0;
    // The first connection could not be made in time; no more tries.
    virtual void finder_client_gave_up() = 0;
    // A connection was made and dropped: the finder is not run by root nor
    // by this process's user (`why` says so).  Retrying goes on.
    virtual void finder_client_refused(const std::string& why) = 0;
};

class FinderClient : public WireConnHandler {
public:
    FinderClient(EventLoop& e, const std::string& host, uint16_t port,
		 const TimeVal& give_up_after, FinderClientObserver& o);
    ~FinderClient();

    // Starts connecting.
    void start();

    bool connected() const { return _conn != NULL && _conn->is_open(); }
    bool gave_up() const { return _gave_up; }

    // Valid only while connected().
    std::string& out() { return _conn->out(); }
    void flush() { _conn->flush(); }
    // Drops the connection (it is re-established like after a loss).
    void disconnect(const char* why);

    // WireConnHandler
    void wire_message(WireConn* conn, const char* payload, size_t len);
    void wire_bad_frame(WireConn* conn, const char* why);
    void wire_closed(WireConn* conn, const char* why);

    static const int kRetryMs = 100;

private:
    void try_connect();
    void connect_done(int fd, IoEventType t);
    void connected_fd(int fd);
    void schedule_retry();
    void give_up();
    void reap();

    EventLoop&			_eventloop;
    std::string			_host;
    uint16_t			_port;
    TimeVal			_give_up_after;
    FinderClientObserver&	_observer;
    WireConn*			_conn;
    WireConn*			_old_conn;	// closed, deleted on a later turn
    int				_connecting_fd;
    bool			_ever_connected;
    bool			_gave_up;
    XorpTimer			_retry_timer;
    XorpTimer			_give_up_timer;
    XorpTimer			_reap_timer;
};

#endif // __LIBXIPC_FINDER_CLIENT_HH__
