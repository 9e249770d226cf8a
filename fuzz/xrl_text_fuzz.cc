// The XRL text parser: whatever it accepts prints back to a text that parses
// to the same XRL, and whatever it refuses is refused with InvalidString.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "libxipc/xrl.hh"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Xrl xrl;
    try {
        xrl = Xrl(text.c_str());
    } catch (const InvalidString&) {
        return 0;
    }
    const std::string printed = xrl.str();
    try {
        if (Xrl(printed.c_str()) == xrl)
            return 0;
        fprintf(stderr, "parses to another XRL: %s\n", printed.c_str());
    } catch (const XorpException& e) {
        fprintf(stderr, "printed form refused: %s\n", e.str().c_str());
    }
    abort();
}
