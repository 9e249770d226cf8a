// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// XORP's finder link framing, protocol 0.2.  A frame is a 4-byte big-endian
// payload length (1 to 65536) and the payload, ASCII text:
//
//   "Finder 0.2\nMsgType x\nSeqNo 1002\nMsgData " + XRL text      (request)
//   "Finder 0.2\nMsgType r\nSeqNo 1002\nMsgData " + reply body    (reply)
//
// A reply body is "<code> / <escaped note>\n<return args in text form>".

#ifndef __LIBXIPC_FINDER_WIRE_HH__
#define __LIBXIPC_FINDER_WIRE_HH__

#include <cstdint>
#include <string>

#include "libxipc/xrl_wire_conn.hh"

namespace finderwire {

static const size_t kMaxPayload = 65536;
static const size_t kLengthSize = 4;

// FrameSplitter of the finder link: an empty or over-long frame is bad.
FrameStatus split(const char* data, size_t avail, size_t& frame_len,
		  const char*& why);

struct Message {
    bool	request;	// MsgType x; else r
    uint32_t	seq;
    const char*	body;		// points into the frame
    size_t	body_len;
};

// Reads a whole frame (length included); false if the header breaks the
// rules in any way.
bool parse(const char* frame, size_t len, Message& m);

// Append one frame; false (and nothing appended) when the payload would be
// over kMaxPayload.
bool append_request(std::string& out, uint32_t seq, const std::string& xrl);
bool append_reply(std::string& out, uint32_t seq, uint32_t code,
		  const std::string& note, const std::string& args);

// Splits a reply body; false when it is malformed.
bool parse_reply(const char* body, size_t len, uint32_t& code,
		 std::string& note, std::string& args);

}  // namespace finderwire

#endif // __LIBXIPC_FINDER_WIRE_HH__
