// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/xrl_wire.hh"

#include <cstring>

namespace xrlwire {

void
put_u32(char* p, uint32_t v)
{
    p[0] = static_cast<char>(v >> 24);
    p[1] = static_cast<char>(v >> 16);
    p[2] = static_cast<char>(v >> 8);
    p[3] = static_cast<char>(v);
}

uint32_t
get_u32(const char* p)
{
    const unsigned char* u = reinterpret_cast<const unsigned char*>(p);
    return (uint32_t(u[0]) << 24) | (uint32_t(u[1]) << 16)
	| (uint32_t(u[2]) << 8) | uint32_t(u[3]);
}

FrameWriter::FrameWriter(std::string& out, MsgType type)
    : _out(out), _start(out.size())
{
    char hdr[kHeaderSize + 1] = { 0, 0, 0, 0, static_cast<char>(type) };
    _out.append(hdr, sizeof(hdr));
}

void
FrameWriter::u32(uint32_t v)
{
    char b[4];
    put_u32(b, v);
    _out.append(b, 4);
}

void
FrameWriter::str(const char* p, size_t n)
{
    u32(static_cast<uint32_t>(n));
    _out.append(p, n);
}

bool
FrameWriter::finish()
{
    size_t payload = _out.size() - _start - kHeaderSize;
    if (payload > kMaxPayload) {
	_out.resize(_start);
	return false;
    }
    put_u32(&_out[_start], static_cast<uint32_t>(payload));
    return true;
}

bool
PayloadReader::u8(uint8_t& v)
{
    if (!_ok || _end - _p < 1)
	return _ok = false;
    v = static_cast<uint8_t>(*_p++);
    return true;
}

bool
PayloadReader::u32(uint32_t& v)
{
    if (!_ok || _end - _p < 4)
	return _ok = false;
    v = get_u32(_p);
    _p += 4;
    return true;
}

bool
PayloadReader::str(const char*& p, size_t& n)
{
    uint32_t len;
    if (!u32(len))
	return false;
    if (static_cast<size_t>(_end - _p) < len)
	return _ok = false;
    p = _p;
    n = len;
    _p += len;
    return true;
}

bool
PayloadReader::str(std::string& s)
{
    const char* p;
    size_t n;
    if (!str(p, n))
	return false;
    s.assign(p, n);
    return true;
}

FrameStatus
next_frame(const char* data, size_t avail, uint32_t& payload_len)
{
    if (avail < kHeaderSize)
	return FRAME_INCOMPLETE;
    payload_len = get_u32(data);
    if (payload_len > kMaxPayload)
	return FRAME_TOO_LARGE;
    if (payload_len == 0)
	return FRAME_EMPTY;
    if (avail - kHeaderSize < payload_len)
	return FRAME_INCOMPLETE;
    return FRAME_READY;
}

bool
read_request(const char* payload, size_t len, RequestView& v)
{
    PayloadReader r(payload, len);
    uint8_t type;
    return r.u8(type) && r.u32(v.seq) && r.str(v.target, v.target_len)
	&& r.str(v.command, v.command_len) && r.str(v.args, v.args_len)
	&& r.at_end();
}

bool
read_reply(const char* payload, size_t len, ReplyView& v)
{
    PayloadReader r(payload, len);
    uint8_t type;
    return r.u8(type) && r.u32(v.seq) && r.u32(v.code)
	&& r.str(v.note, v.note_len) && r.str(v.args, v.args_len)
	&& r.at_end();
}

}  // namespace xrlwire
