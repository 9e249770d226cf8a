// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// XORP's STCP framing (version 1.1), between a caller and a target's
// listener over TCP or a unix stream socket.  A packet is a 24-byte header,
// all big-endian:
//   "STCP" | major 1 | minor 1 | seqno u32 | flags u8 | type u8 |
//   error code u32 | note length u32 | data length u32
// then the raw note bytes and the packed XrlArgs (xrl_args_packing.hh).

#ifndef __LIBXIPC_STCP_WIRE_HH__
#define __LIBXIPC_STCP_WIRE_HH__

#include <cstdint>
#include <string>

#include "libxipc/xrl_wire_conn.hh"

namespace stcp {

static const size_t kHeaderSize = 24;
// XORP sets no limit; a packet this long is refused rather than buffered.
static const size_t kMaxPacket = 16 * 1024 * 1024;

enum Type { HELO = 0, HELO_ACK = 1, REQUEST = 2, RESPONSE = 3 };

struct Header {
    uint32_t	seq;
    uint8_t	type;
    uint32_t	code;
    uint32_t	note_len;
    uint32_t	data_len;
};

// FrameSplitter of STCP: a bad magic, version or type is bad at once.
FrameStatus split(const char* data, size_t avail, size_t& frame_len,
		  const char*& why);

// Reads the header of a packet split() accepted.
void read_header(const char* p, Header& h);

// Appends a header; set_data_len() fills the data length in afterwards
// (at the offset the header started).
void append_header(std::string& out, uint32_t seq, Type type, uint32_t code,
		   uint32_t note_len, uint32_t data_len);
void set_data_len(std::string& out, size_t header_at, uint32_t data_len);

}  // namespace stcp

#endif // __LIBXIPC_STCP_WIRE_HH__
