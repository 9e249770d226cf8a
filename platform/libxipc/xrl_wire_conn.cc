// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/xrl_wire_conn.hh"

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>


std::vector<WireConn*> WireConn::_deferred_list;
int WireConn::_input_depth = 0;

namespace {
// Room kept free in the input buffer before each read.
const size_t kReadChunk = 64 * 1024;
// Queued output written while input is still being handled: a few
// messages (a request of a short XRL is about 100 bytes).
const size_t kEarlyWrite = 600;
}

WireConn::WireConn(EventLoop& e, int fd, FrameSplitter split,
		   WireConnHandler& h)
    : _eventloop(e), _fd(fd), _split(split), _handler(h),
      _read_cb(callback(this, &WireConn::read_ready)),
      _write_cb(callback(this, &WireConn::write_ready)),
      _reading(false), _writing(false), _close_when_flushed(false),
      _in(kReadChunk), _in_start(0), _in_end(0), _out_off(0), _user(0), _deferred(false),
      _early_written(false)
{
    _reading = _eventloop.add_ioevent_cb(_fd, IOT_READ, _read_cb);
    _eventloop.set_turn_hook(&WireConn::flush_deferred);
}

WireConn::~WireConn()
{
    if (_deferred) {
	for (WireConn*& c : _deferred_list)
	    if (c == this)
		c = NULL;
    }
    if (is_open()) {
	ErrnoSaver es;
	// Queued output (such as the answer to a shutdown request, written
	// in the loop's last turn) goes out before the socket closes.
	while (_out_off < _out.size()) {
	    ssize_t n = ::send(_fd, _out.data() + _out_off,
			       _out.size() - _out_off,
			       MSG_NOSIGNAL | MSG_DONTWAIT);
	    if (n < 0 && errno == EINTR)
		continue;
	    if (n <= 0)
		break;
	    _out_off += static_cast<size_t>(n);
	}
	_eventloop.remove_ioevent_cb(_fd, IOT_ANY);
	::close(_fd);
	_fd = -1;
    }
}

void
WireConn::flush()
{
    if (!is_open())
	return;
    if (_out.size() - _out_off > kMaxBacklog) {
	close("peer does not read its messages");
	return;
    }
    if (_out.size() == _out_off)
	return;
    if (_input_depth == 0) {
	if (!_writing)
	    _writing = _eventloop.add_ioevent_cb(_fd, IOT_WRITE, _write_cb);
	return;
    }
    // Written at the end of the input, or at the start of the next turn
    // when a handler turns the loop itself (the loop's turn hook): no
    // write callback comes and goes for each message.
    if (!_deferred) {
	_deferred = true;
	_deferred_list.push_back(this);
    }
    // The first messages of a batch leave at once, so that the peer works
    // on them while the rest are made; the rest leave together once the
    // input is done.  Two writes per batch, and no lockstep between the
    // two ends.
    if (!_early_written && _out.size() - _out_off >= kEarlyWrite) {
	_early_written = true;
	send_queued();
    }
}

void
WireConn::flush_deferred()
{
    if (_deferred_list.empty())
	return;
    // Entries may be added while writing (a close calls a handler).
    for (size_t i = 0; i < _deferred_list.size(); i++) {
	WireConn* c = _deferred_list[i];
	if (c == NULL)
	    continue;
	c->_deferred = false;
	c->_early_written = false;
	if (c->is_open())
	    c->write_now();
    }
    _deferred_list.clear();
}

void
WireConn::stop_reading()
{
    if (_reading) {
	_eventloop.remove_ioevent_cb(_fd, IOT_READ);
	_reading = false;
    }
}

void
WireConn::close(const char* why)
{
    if (!is_open())
	return;
    {
	ErrnoSaver es;
	_eventloop.remove_ioevent_cb(_fd, IOT_ANY);
	::close(_fd);
    }
    _fd = -1;
    _reading = _writing = false;
    if (_deferred) {
	for (WireConn*& c : _deferred_list)
	    if (c == this)
		c = NULL;
	_deferred = false;
    }
    _out.clear();
    _out_off = 0;
    _in_start = _in_end = 0;
    _handler.wire_closed(this, why);
}

void
WireConn::close_after_flush()
{
    stop_reading();
    _close_when_flushed = true;
    if (_out.size() == _out_off)
	close("closed by this end");
    else
	flush();
}

void
WireConn::read_ready(int, IoEventType)
{
    ErrnoSaver es;
    if (!_reading)
	return;
    if (_in.size() - _in_end < kReadChunk) {
	// Move the unprocessed tail to the front before growing.
	if (_in_start > 0) {
	    memmove(&_in[0], &_in[_in_start], _in_end - _in_start);
	    _in_end -= _in_start;
	    _in_start = 0;
	}
	if (_in.size() - _in_end < kReadChunk)
	    _in.resize(_in_end + kReadChunk);
    }
    ssize_t n = ::read(_fd, &_in[_in_end], _in.size() - _in_end);
    if (n == 0) {
	close("connection closed by peer");
	return;
    }
    if (n < 0) {
	if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
	    close(strerror(errno));
	return;
    }
    _in_end += static_cast<size_t>(n);
    _input_depth++;
    process_input();
    if (--_input_depth == 0)
	flush_deferred();
}

void
WireConn::process_input()
{
    size_t len = 0;
    while (_reading && is_open()) {
	const char* why = "";
	len = 0;
	FrameStatus st = _split(&_in[_in_start], _in_end - _in_start, len, why);
	if (st == FRAME_INCOMPLETE)
	    break;
	if (st == FRAME_BAD) {
	    stop_reading();
	    _in_start = _in_end = 0;
	    _handler.wire_bad_frame(this, why);
	    return;
	}
	const char* frame = &_in[_in_start];
	_in_start += len;
	_handler.wire_message(this, frame, len);
	len = 0;
    }
    if (_in_start == _in_end)
	_in_start = _in_end = 0;
    // A partial frame larger than the buffer: make room for all of it.
    if (is_open() && len > 0 && _in.size() - _in_start < len)
	_in.resize(_in_start + len + kReadChunk);
}

void
WireConn::write_ready(int, IoEventType)
{
    if (is_open())
	write_now();
}

int
WireConn::send_queued()
{
    ErrnoSaver es;
    while (_out_off < _out.size()) {
	ssize_t n = ::send(_fd, _out.data() + _out_off, _out.size() - _out_off,
			   MSG_NOSIGNAL);
	if (n < 0) {
	    if (errno == EINTR)
		continue;
	    return errno;
	}
	_out_off += static_cast<size_t>(n);
    }
    return 0;
}

void
WireConn::write_now()
{
    int err = send_queued();
    if (err == EAGAIN || err == EWOULDBLOCK) {
	if (!_writing)		// the rest when the socket takes it
	    _writing = _eventloop.add_ioevent_cb(_fd, IOT_WRITE, _write_cb);
	return;
    }
    if (err != 0) {
	close(strerror(err));
	return;
    }
    _out.clear();		// keeps its capacity for the next turn
    _out_off = 0;
    if (_writing) {
	_eventloop.remove_ioevent_cb(_fd, IOT_WRITE);
	_writing = false;
    }
    if (_close_when_flushed)
	close("closed by this end");
}
