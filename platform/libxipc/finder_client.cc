// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/finder_client.hh"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "libxipc/peer_credentials.hh"

FinderClient::FinderClient(EventLoop& e, const std::string& host,
			   uint16_t port, const TimeVal& give_up_after,
			   FinderClientObserver& o)
    : _eventloop(e), _host(host), _port(port), _give_up_after(give_up_after),
      _observer(o), _conn(NULL), _old_conn(NULL), _connecting_fd(-1),
      _ever_connected(false), _gave_up(false)
{
}

FinderClient::~FinderClient()
{
    ErrnoSaver es;
    if (_connecting_fd >= 0) {
	_eventloop.remove_ioevent_cb(_connecting_fd, IOT_ANY);
	::close(_connecting_fd);
    }
    delete _conn;
    delete _old_conn;
}

void
FinderClient::start()
{
    if (_conn != NULL || _connecting_fd >= 0 || _retry_timer.scheduled())
	return;
    if (!_ever_connected && !_give_up_timer.scheduled() && !_gave_up)
	_give_up_timer = _eventloop.new_oneoff_after(
	    _give_up_after, callback(this, &FinderClient::give_up));
    try_connect();
}

void
FinderClient::schedule_retry()
{
    if (_gave_up)
	return;
    _retry_timer = _eventloop.new_oneoff_after(
	TimeVal(0, kRetryMs * 1000), callback(this, &FinderClient::try_connect));
}

void
FinderClient::give_up()
{
    if (_ever_connected || connected())
	return;
    _gave_up = true;
    _retry_timer.unschedule();
    if (_connecting_fd >= 0) {
	ErrnoSaver es;
	_eventloop.remove_ioevent_cb(_connecting_fd, IOT_ANY);
	::close(_connecting_fd);
	_connecting_fd = -1;
    }
    _observer.finder_client_gave_up();
}

void
FinderClient::try_connect()
{
    ErrnoSaver es;
    if (_gave_up || _conn != NULL || _connecting_fd >= 0)
	return;
    struct sockaddr_in sin;
    memset(&sin, 0, sizeof(sin));
    sin.sin_family = AF_INET;
    sin.sin_port = htons(_port);
    if (inet_pton(AF_INET, _host.c_str(), &sin.sin_addr) != 1) {
	schedule_retry();
	return;
    }
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
	schedule_retry();
	return;
    }
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
    if (::connect(fd, reinterpret_cast<struct sockaddr*>(&sin),
		  sizeof(sin)) == 0) {
	connected_fd(fd);
	return;
    }
    if (errno == EINPROGRESS) {
	_connecting_fd = fd;
	_eventloop.add_ioevent_cb(fd, IOT_WRITE,
				  callback(this, &FinderClient::connect_done));
	return;
    }
    ::close(fd);
    schedule_retry();
}

void
FinderClient::connect_done(int fd, IoEventType)
{
    ErrnoSaver es;
    _eventloop.remove_ioevent_cb(fd, IOT_ANY);
    _connecting_fd = -1;
    int err = 0;
    socklen_t len = sizeof(err);
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) < 0 || err != 0) {
	::close(fd);
	schedule_retry();
	return;
    }
    connected_fd(fd);
}

void
FinderClient::connected_fd(int fd)
{
    uid_t uid;
    std::string why;
    if (!listener_uid(fd, uid, why) || (uid != 0 && uid != geteuid())) {
	::close(fd);
	std::string at = _host + ":" + std::to_string(_port);
	if (why.empty())
	    why = "finder at " + at + " is run by uid "
		+ std::to_string(static_cast<unsigned long>(uid))
		+ ", not trusted";
	else
	    why = "finder at " + at + " is run by an unknown user: " + why;
	_observer.finder_client_refused(why);
	schedule_retry();
	return;
    }
    _ever_connected = true;
    _give_up_timer.unschedule();
    _conn = new WireConn(_eventloop, fd, finderwire::split, *this);
    _observer.finder_client_connected();
}

void
FinderClient::disconnect(const char* why)
{
    if (_conn != NULL)
	_conn->close(why);
}

void
FinderClient::wire_message(WireConn*, const char* payload, size_t len)
{
    _observer.finder_client_message(payload, len);
}

void
FinderClient::wire_bad_frame(WireConn* conn, const char* why)
{
    conn->close(why);
}

void
FinderClient::wire_closed(WireConn* conn, const char* why)
{
    // The WireConn is still on the stack: delete it on a later turn.
    if (_old_conn != NULL && _old_conn != conn)
	delete _old_conn;
    _old_conn = conn;
    _conn = NULL;
    _reap_timer = _eventloop.new_oneoff_after(
	TimeVal(0, 0), callback(this, &FinderClient::reap));
    _observer.finder_client_disconnected(why);
    if (_conn == NULL && _connecting_fd < 0 && !_retry_timer.scheduled())
	schedule_retry();
}

void
FinderClient::reap()
{
    delete _old_conn;
    _old_conn = NULL;
}
