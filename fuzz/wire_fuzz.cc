// The readers of the two wire protocols, on any bytes. A finder-link frame
// that is read, written again from what was read, reads back the same. An
// STCP header agrees with its frame length. Packed arguments that are read
// pack to bytes that read and pack to the same bytes (not to the input
// itself: a NaN is packed as XORP's one NaN). An XrlArgs and head reused
// from input to input, as the transport's, read exactly what fresh ones do.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "libxipc/finder_wire.hh"
#include "libxipc/stcp_wire.hh"
#include "libxipc/xrl_args_packing.hh"

namespace {

// The frame written again from what `frame` holds, or "" when it is no
// frame (or would not fit once written again: a note may grow).
std::string rewritten(const char* frame, size_t size, finderwire::Message& m) {
    size_t length = 0;
    const char* why = nullptr;
    uint32_t code = 0;
    std::string note, args, out;
    if (finderwire::split(frame, size, length, why) != FRAME_READY
        || length != size || !finderwire::parse(frame, length, m))
        return "";
    if (m.request)
        finderwire::append_request(out, m.seq, std::string(m.body, m.body_len));
    else if (finderwire::parse_reply(m.body, m.body_len, code, note, args))
        finderwire::append_reply(out, m.seq, code, note, args);
    return out;
}

std::string packed(const uint8_t* p, size_t n, std::string* head) {
    static XrlArgs reused;
    static std::string reused_head;
    XrlArgs args;
    std::string out;
    bool ok = xrl_args_unpack(p, n, args, head);
    if (xrl_args_unpack(p, n, reused, head ? &reused_head : nullptr) != ok
        || (ok && (reused != args || (head && reused_head != *head))))
        abort();
    if (ok)
        xrl_args_pack(out, args, head);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Read from `data` itself, not a copy: a string's copy ends in a NUL
    // byte that would hide a read one past the end.
    const char* bytes = reinterpret_cast<const char*>(data);
    finderwire::Message m, m2;
    std::string once = rewritten(bytes, size, m);
    if (!once.empty() && (rewritten(once.data(), once.size(), m2) != once
                          || m2.request != m.request || m2.seq != m.seq))
        abort();

    size_t length = 0;
    const char* why = nullptr;
    stcp::Header h;
    if (stcp::split(bytes, size, length, why) == FRAME_READY
        && (stcp::read_header(bytes, h),
            stcp::kHeaderSize + uint64_t(h.note_len) + h.data_len != length))
        abort();

    std::string head;
    std::string* with_head = size > 0 && (data[size - 1] & 1) ? &head : nullptr;
    once = packed(data, size, with_head);
    if (!once.empty()
        && packed(reinterpret_cast<const uint8_t*>(once.data()), once.size(), with_head) != once)
        abort();
    return 0;
}
