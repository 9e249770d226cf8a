// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// One non-blocking stream socket carrying frames (the finder link's or
// STCP's, told apart by a FrameSplitter), driven by the EventLoop.  Frames
// queued while input is handled leave in at most two writes at the end of
// that input (see flush()), or at the start of the loop's next turn if a
// handler turns it; others when the socket is next writable.  Input is read
// in large chunks into a buffer that is reused.

#ifndef __LIBXIPC_XRL_WIRE_CONN_HH__
#define __LIBXIPC_XRL_WIRE_CONN_HH__

#include <cerrno>
#include <string>
#include <vector>

#include "libxorp/eventloop.hh"

class WireConn;

enum FrameStatus { FRAME_INCOMPLETE, FRAME_READY, FRAME_BAD };

// Looks at the start of the unread input.  Sets frame_len (header included)
// as soon as the header is there; on FRAME_BAD sets why.
typedef FrameStatus (*FrameSplitter)(const char* data, size_t avail,
				     size_t& frame_len, const char*& why);

// Keeps errno unchanged across the transport's own system calls.
class ErrnoSaver {
public:
    ErrnoSaver() : _saved(errno) {}
    ~ErrnoSaver() { errno = _saved; }
private:
    int _saved;
};

class WireConnHandler {
public:
    virtual ~WireConnHandler() {}
    // One complete frame, header included.
    virtual void wire_message(WireConn* conn, const char* frame,
			      size_t len) = 0;
    // A frame that breaks the framing rules (bad header, over the limit).
    // Reading has stopped; the handler may answer and close_after_flush().
    virtual void wire_bad_frame(WireConn* conn, const char* why) = 0;
    // The connection is closed.  Called once; the WireConn must not be
    // deleted from inside this call (its own code is still on the stack).
    virtual void wire_closed(WireConn* conn, const char* why) = 0;
};

class WireConn {
public:
    // Takes ownership of the connected, non-blocking `fd`; starts reading.
    WireConn(EventLoop& e, int fd, FrameSplitter split, WireConnHandler& h);
    ~WireConn();

    // Frames are appended here, then flush() asks
    // for a write: at the end of the input being processed when called
    // while a WireConn handles its input (a batch of answers leaves without
    // waiting for another turn, its first few hundred bytes at once and the
    // rest in one write), else when the socket is next writable.
    std::string& out() { return _out; }
    void flush();

    void close(const char* why);
    // Stops reading, writes what is queued, then closes.
    void close_after_flush();

    bool is_open() const { return _fd >= 0; }
    int fd() const { return _fd; }

    // Owner's tag for this connection.
    void set_user(void* u) { _user = u; }
    void* user() const { return _user; }

    // Bytes queued and not yet written; past this the peer is not reading
    // and is dropped.
    static const size_t kMaxBacklog = 64 * 1024 * 1024;

private:
    WireConn(const WireConn&);
    WireConn& operator=(const WireConn&);

    void read_ready(int fd, IoEventType t);
    void write_ready(int fd, IoEventType t);
    void process_input();
    void stop_reading();
    void write_now();
    // Writes what is queued until done or the socket refuses; 0 or errno.
    // Never closes: errors are for write_now() to act on.
    int send_queued();
    static void flush_deferred();

    EventLoop&		_eventloop;
    int			_fd;
    FrameSplitter	_split;
    WireConnHandler&	_handler;
    IoEventCb		_read_cb;
    IoEventCb		_write_cb;
    bool		_reading;
    bool		_writing;
    bool		_close_when_flushed;

    std::vector<char>	_in;		// [_in_start, _in_end) unprocessed
    size_t		_in_start;
    size_t		_in_end;
    std::string		_out;		// [_out_off, size) still to write
    size_t		_out_off;
    void*		_user;
    bool		_deferred;	// in the list written after the input
    bool		_early_written;	// part of this turn's output is sent

    // Connections to write once the input being processed is done.
    static std::vector<WireConn*> _deferred_list;
    static int _input_depth;
};

#endif // __LIBXIPC_XRL_WIRE_CONN_HH__
