// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/finder_wire.hh"

#include <cstring>

#include "libxipc/big_endian.hh"
#include "libxipc/xrl_atom_encoding.hh"

namespace finderwire {

namespace {

// Checks `lit` at p and moves past it.
bool
expect(const char*& p, const char* end, const char* lit)
{
    size_t n = strlen(lit);
    if (static_cast<size_t>(end - p) < n || memcmp(p, lit, n) != 0)
	return false;
    p += n;
    return true;
}

bool
append_frame(std::string& out, char type, uint32_t seq, const std::string& a,
	     const std::string& b = std::string())
{
    char head[64];
    int h = snprintf(head, sizeof(head),
		     "Finder 0.2\nMsgType %c\nSeqNo %u\nMsgData ", type,
		     static_cast<unsigned>(seq));
    size_t payload = static_cast<size_t>(h) + a.size() + b.size();
    if (payload > kMaxPayload)
	return false;
    const char len[4] = { char(payload >> 24), char(payload >> 16),
			  char(payload >> 8), char(payload) };
    out.append(len, 4);
    out.append(head, h);
    out += a;
    out += b;
    return true;
}

}  // namespace

FrameStatus
split(const char* data, size_t avail, size_t& frame_len, const char*& why)
{
    if (avail < kLengthSize)
	return FRAME_INCOMPLETE;
    uint32_t n = get_u32(data);
    if (n == 0 || n > kMaxPayload) {
	why = n == 0 ? "empty message" : "message longer than 65536 bytes";
	return FRAME_BAD;
    }
    frame_len = kLengthSize + n;
    return avail < frame_len ? FRAME_INCOMPLETE : FRAME_READY;
}

bool
parse(const char* frame, size_t len, Message& m)
{
    if (len < kLengthSize)
	return false;
    const char* p = frame + kLengthSize;
    const char* end = frame + len;
    if (!expect(p, end, "Finder 0.2\nMsgType ") || end - p < 2)
	return false;
    if (*p != 'x' && *p != 'r')
	return false;
    m.request = *p == 'x';
    p++;
    if (!expect(p, end, "\nSeqNo "))
	return false;
    uint64_t seq = 0;
    const char* digits = p;
    while (p < end && *p >= '0' && *p <= '9' && p - digits < 10)
	seq = seq * 10 + static_cast<uint64_t>(*p++ - '0');
    if (p == digits || seq > 0xffffffffULL || !expect(p, end, "\nMsgData "))
	return false;
    m.seq = static_cast<uint32_t>(seq);
    m.body = p;
    m.body_len = static_cast<size_t>(end - p);
    return true;
}

bool
append_request(std::string& out, uint32_t seq, const std::string& xrl)
{
    return append_frame(out, 'x', seq, xrl);
}

bool
append_reply(std::string& out, uint32_t seq, uint32_t code,
	     const std::string& note, const std::string& args)
{
    std::string head = std::to_string(code) + " / "
	+ xrlatom_encode_value(note) + "\n";
    return append_frame(out, 'r', seq, head, args);
}

bool
parse_reply(const char* body, size_t len, uint32_t& code, std::string& note,
	    std::string& args)
{
    const char* end = body + len;
    const char* p = body;
    uint64_t c = 0;
    while (p < end && *p >= '0' && *p <= '9' && p - body < 10)
	c = c * 10 + static_cast<uint64_t>(*p++ - '0');
    if (p == body || c > 0xffffffffULL || !expect(p, end, " / "))
	return false;
    const char* lf = static_cast<const char*>(memchr(p, '\n', end - p));
    if (lf == NULL || !xrlatom_decode_value(p, lf - p, note))
	return false;
    code = static_cast<uint32_t>(c);
    args.assign(lf + 1, end);
    return true;
}

}  // namespace finderwire
