// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// Framing of the messages exchanged between processes and the finder.
//
// A frame is a 4-byte big-endian payload length followed by the payload.
// The payload starts with one type byte; its fields are big-endian u32
// numbers and strings (u32 length, then the bytes). A payload is at most
// kMaxPayload bytes; a longer frame is a protocol error.

#ifndef __LIBXIPC_XRL_WIRE_HH__
#define __LIBXIPC_XRL_WIRE_HH__

#include <cstddef>
#include <cstdint>
#include <string>

namespace xrlwire {

static const uint32_t kMaxPayload = 1024 * 1024;
static const size_t kHeaderSize = 4;
static const uint32_t kProtocolMagic = 0x58524c31;	// "XRL1"

enum MsgType {
    // client -> finder: magic u32, class str, instance str.  First frame.
    MSG_HELLO = 1,
    // client -> finder: flags u32 (FLAG_CATCH_ALL), count u32, command str...
    MSG_REGISTER = 2,
    // finder -> client: the registration is complete.
    MSG_REGISTERED = 3,
    // either way: seq u32, target str, command str, args str (XRL text form).
    MSG_REQUEST = 4,
    // either way: seq u32, error code u32, note str, args str.
    MSG_REPLY = 5,
    // finder -> client: reason str; the finder closes the connection next.
    MSG_FAILURE = 6
};

static const uint32_t FLAG_CATCH_ALL = 1;

// Appends one frame to a buffer; the length is filled in by finish().
class FrameWriter {
public:
    FrameWriter(std::string& out, MsgType type);

    void u32(uint32_t v);
    void str(const char* p, size_t n);
    void str(const std::string& s) { str(s.data(), s.size()); }

    // Completes the frame.  A payload over kMaxPayload is taken back out of
    // the buffer and false returned.
    bool finish();

private:
    std::string& _out;
    size_t _start;
};

// Reads the fields of one payload.  Every getter returns false once the
// payload is exhausted or malformed, and stays false.
class PayloadReader {
public:
    PayloadReader(const char* p, size_t n) : _p(p), _end(p + n), _ok(true) {}

    bool u8(uint8_t& v);
    bool u32(uint32_t& v);
    bool str(const char*& p, size_t& n);
    bool str(std::string& s);
    // True when every byte was consumed and nothing went wrong.
    bool at_end() const { return _ok && _p == _end; }

private:
    const char* _p;
    const char* _end;
    bool _ok;
};

// The fields of a MSG_REQUEST payload, pointing into the payload.
struct RequestView {
    uint32_t seq;
    const char* target;
    size_t target_len;
    const char* command;
    size_t command_len;
    const char* args;
    size_t args_len;
};

// The fields of a MSG_REPLY payload, pointing into the payload.
struct ReplyView {
    uint32_t seq;
    uint32_t code;
    const char* note;
    size_t note_len;
    const char* args;
    size_t args_len;
};

// Each reads a whole payload of its type; false when it is malformed.
bool read_request(const char* payload, size_t len, RequestView& v);
bool read_reply(const char* payload, size_t len, ReplyView& v);

enum FrameStatus { FRAME_INCOMPLETE, FRAME_READY, FRAME_TOO_LARGE, FRAME_EMPTY };

// Looks at the start of `data`.  On FRAME_READY, the payload is
// [data + kHeaderSize, data + kHeaderSize + payload_len).
FrameStatus next_frame(const char* data, size_t avail, uint32_t& payload_len);

// Overwrites the big-endian u32 at `p` (used to re-number a forwarded frame).
void put_u32(char* p, uint32_t v);
uint32_t get_u32(const char* p);

}  // namespace xrlwire

#endif // __LIBXIPC_XRL_WIRE_HH__
