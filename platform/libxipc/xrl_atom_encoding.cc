#include "libxipc/xrl_atom_encoding.hh"

namespace {

bool
needs_escape(unsigned char c)
{
    if (c < 0x20 || c >= 0x7f)          // NUL, control characters, DEL, 8-bit
        return true;
    return std::strchr("[]&=+%$,;{}#", c) != nullptr;
}

int
hex_value(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

}  // namespace

std::string
xrlatom_encode_value(const char* data, size_t len)
{
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(len);
    for (size_t i = 0; i < len; i++) {
        unsigned char c = static_cast<unsigned char>(data[i]);
        if (c == ' ') {
            out += '+';
        } else if (needs_escape(c)) {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 0xf];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

std::string
xrlatom_encode_value(const std::string& value)
{
    return xrlatom_encode_value(value.data(), value.size());
}

bool
xrlatom_decode_value(const char* data, size_t len, std::string& out)
{
    out.clear();
    out.reserve(len);
    for (size_t i = 0; i < len; i++) {
        char c = data[i];
        if (c == '+') {
            out += ' ';
        } else if (c == '%') {
            if (i + 2 >= len)              // truncated escape
                return false;
            int hi = hex_value(data[i + 1]);
            int lo = hex_value(data[i + 2]);
            if (hi < 0 || lo < 0)
                return false;
            out += static_cast<char>((hi << 4) | lo);
            i += 2;
        } else {
            out += c;
        }
    }
    return true;
}

bool
xrlatom_decode_value(const std::string& text, std::string& out)
{
    return xrlatom_decode_value(text.data(), text.size(), out);
}
