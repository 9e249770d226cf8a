// The XRL text parser: what it accepts prints back to a text that parses to
// the same XRL; what it refuses it refuses with InvalidString.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "libxipc/xrl.hh"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Xrl xrl;
    try {
        xrl = Xrl(std::string(reinterpret_cast<const char*>(data), size).c_str());
    } catch (const InvalidString&) {
        return 0;
    }
    if (!(Xrl(xrl.str().c_str()) == xrl))  // throws if refused
        abort();
    return 0;
}
