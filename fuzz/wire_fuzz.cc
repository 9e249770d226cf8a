// The readers of the two wire protocols, on any bytes. The finder link: a
// frame that the splitter takes and the parser reads, written again from
// what was read, reads back the same (a reply's code, note and arguments
// too). STCP: a header the splitter takes agrees with the frame length, and
// packed arguments that unpack pack to bytes that unpack and pack to the
// same bytes (a NaN is packed as XORP's one NaN, so the input itself need
// not come back).

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "libxipc/finder_wire.hh"
#include "libxipc/stcp_wire.hh"
#include "libxipc/xrl_args_packing.hh"

namespace {

void check(bool holds, const char* what) {
    if (holds)
        return;
    fprintf(stderr, "%s\n", what);
    abort();
}

void finder_link(const char* data, size_t size) {
    size_t length = 0;
    const char* why = nullptr;
    finderwire::Message m;
    if (finderwire::split(data, size, length, why) != FRAME_READY
        || !finderwire::parse(data, length, m))
        return;
    uint32_t code = 0;
    std::string note, args, again;
    if (m.request) {
        if (!finderwire::append_request(again, m.seq,
                                        std::string(m.body, m.body_len)))
            return;
    } else if (!finderwire::parse_reply(m.body, m.body_len, code, note, args)
               || !finderwire::append_reply(again, m.seq, code, note, args)) {
        return;  // the note may grow when written again
    }
    finderwire::Message m2;
    size_t length2 = 0;
    check(finderwire::split(again.data(), again.size(), length2, why)
              == FRAME_READY && length2 == again.size()
              && finderwire::parse(again.data(), again.size(), m2)
              && m2.request == m.request && m2.seq == m.seq,
          "finder frame written again reads back otherwise");
    uint32_t code2 = 0;
    std::string note2, args2;
    check(m.request ? std::string(m2.body, m2.body_len)
                          == std::string(m.body, m.body_len)
                    : finderwire::parse_reply(m2.body, m2.body_len, code2,
                                              note2, args2)
                          && code2 == code && note2 == note && args2 == args,
          "finder message body written again reads back otherwise");
}

void stcp_packet(const uint8_t* data, size_t size) {
    size_t length = 0;
    const char* why = nullptr;
    const char* p = reinterpret_cast<const char*>(data);
    if (stcp::split(p, size, length, why) == FRAME_READY) {
        stcp::Header h;
        stcp::read_header(p, h);
        check(stcp::kHeaderSize + uint64_t(h.note_len) + h.data_len == length,
              "STCP header disagrees with its frame length");
    }
    XrlArgs args, again;
    std::string head, head2, packed, packed2;
    bool with_head = size > 0 && (data[size - 1] & 1);
    if (!xrl_args_unpack(data, size, args, with_head ? &head : nullptr))
        return;
    xrl_args_pack(packed, args, with_head ? &head : nullptr);
    check(xrl_args_unpack(reinterpret_cast<const uint8_t*>(packed.data()),
                          packed.size(), again, with_head ? &head2 : nullptr),
          "packed arguments can't be read back");
    xrl_args_pack(packed2, again, with_head ? &head2 : nullptr);
    check(packed2 == packed, "packed arguments read back otherwise");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    finder_link(reinterpret_cast<const char*>(data), size);
    stcp_packet(data, size);
    return 0;
}
