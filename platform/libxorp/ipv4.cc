#include "libxorp/ipv4.hh"

#include <arpa/inet.h>

#include "libxorp/c_format.hh"

IPv4::IPv4(const char* from_string)
{
    if (from_string == nullptr)
        xorp_throw(InvalidString, "Null value");
    in_addr a;
    if (inet_pton(AF_INET, from_string, &a) != 1)
        xorp_throw(InvalidString, c_format("Bad IPv4 \"%s\"", from_string));
    _addr = a.s_addr;
}

std::string IPv4::str() const
{
    char buf[INET_ADDRSTRLEN];
    in_addr a;
    a.s_addr = _addr;
    return inet_ntop(AF_INET, &a, buf, sizeof(buf));
}

bool IPv4::is_unicast() const
{
    uint32_t h = ntohl(_addr);
    // Not zero, not multicast/experimental (224/3), not broadcast.
    return h != 0 && (h & 0xe0000000u) != 0xe0000000u && h != 0xffffffffu;
}

bool IPv4::is_multicast() const
{
    return (ntohl(_addr) & 0xf0000000u) == 0xe0000000u;
}

bool IPv4::is_loopback() const
{
    return (ntohl(_addr) & 0xff000000u) == 0x7f000000u;
}

IPv4 IPv4::make_prefix(uint32_t len)
{
    if (len > 32)
        xorp_throw(InvalidNetmaskLength, static_cast<int>(len));
    uint32_t m = len == 0 ? 0 : 0xffffffffu << (32 - len);
    return IPv4(htonl(m));
}

uint32_t IPv4::mask_len() const
{
    uint32_t h = ntohl(_addr);
    uint32_t n = 0;
    while (n < 32 && (h & (0x80000000u >> n)) != 0)
        n++;
    return n;
}

const IPv4& IPv4::ZERO()
{
    static const IPv4 a(0u);
    return a;
}

const IPv4& IPv4::ANY()
{
    return ZERO();
}

const IPv4& IPv4::ALL_ONES()
{
    static const IPv4 a(0xffffffffu);
    return a;
}

const IPv4& IPv4::LOOPBACK()
{
    static const IPv4 a(htonl(0x7f000001u));
    return a;
}
