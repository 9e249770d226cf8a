// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/stcp_wire.hh"

#include <cstring>

#include "libxipc/big_endian.hh"

namespace stcp {

FrameStatus
split(const char* data, size_t avail, size_t& frame_len, const char*& why)
{
    size_t check = avail < 6 ? avail : 6;
    if (memcmp(data, "STCP\x01\x01", check) != 0) {
	why = "not an STCP 1.1 packet";
	return FRAME_BAD;
    }
    if (avail < kHeaderSize)
	return FRAME_INCOMPLETE;
    if (static_cast<uint8_t>(data[11]) > RESPONSE) {
	why = "unknown STCP packet type";
	return FRAME_BAD;
    }
    uint64_t len = kHeaderSize + uint64_t(get_u32(data + 16))
	+ get_u32(data + 20);
    if (len > kMaxPacket) {
	why = "STCP packet longer than 16 MiB";
	return FRAME_BAD;
    }
    frame_len = static_cast<size_t>(len);
    return avail < frame_len ? FRAME_INCOMPLETE : FRAME_READY;
}

void
read_header(const char* p, Header& h)
{
    h.seq = get_u32(p + 6);
    h.type = static_cast<uint8_t>(p[11]);
    h.code = get_u32(p + 12);
    h.note_len = get_u32(p + 16);
    h.data_len = get_u32(p + 20);
}

void
append_header(std::string& out, uint32_t seq, Type type, uint32_t code,
	      uint32_t note_len, uint32_t data_len)
{
    char h[kHeaderSize] = { 'S', 'T', 'C', 'P', 1, 1 };
    put_u32(h + 6, seq);
    h[10] = 0;
    h[11] = static_cast<char>(type);
    put_u32(h + 12, code);
    put_u32(h + 16, note_len);
    put_u32(h + 20, data_len);
    out.append(h, kHeaderSize);
}

void
set_data_len(std::string& out, size_t header_at, uint32_t data_len)
{
    put_u32(&out[header_at + 20], data_len);
}

}  // namespace stcp
