#include "libxorp/ipv6.hh"

#include <arpa/inet.h>

#include "libxorp/c_format.hh"

IPv6::IPv6(const char* from_string)
{
    if (from_string == nullptr)
        xorp_throw(InvalidString, "Null value");
    if (inet_pton(AF_INET6, from_string, _addr) != 1)
        xorp_throw(InvalidString, c_format("Bad IPv6 \"%s\"", from_string));
}

std::string IPv6::str() const
{
    char buf[INET6_ADDRSTRLEN];
    return inet_ntop(AF_INET6, _addr, buf, sizeof(buf));
}

bool IPv6::is_zero() const
{
    return *this == ZERO();
}

bool IPv6::is_loopback() const
{
    return *this == LOOPBACK();
}

IPv6 IPv6::make_prefix(uint32_t len)
{
    if (len > 128)
        xorp_throw(InvalidNetmaskLength, static_cast<int>(len));
    uint8_t m[16] = {};
    for (uint32_t i = 0; i < 16; i++) {
        if (len >= 8 * (i + 1))
            m[i] = 0xff;
        else if (len > 8 * i)
            m[i] = static_cast<uint8_t>(0xff00 >> (len - 8 * i));
    }
    return IPv6(m);
}

uint32_t IPv6::mask_len() const
{
    uint32_t n = 0;
    while (n < 128 && (_addr[n / 8] & (0x80 >> (n % 8))) != 0)
        n++;
    return n;
}

IPv6 IPv6::operator&(const IPv6& o) const
{
    IPv6 r;
    for (int i = 0; i < 16; i++)
        r._addr[i] = _addr[i] & o._addr[i];
    return r;
}

IPv6 IPv6::operator|(const IPv6& o) const
{
    IPv6 r;
    for (int i = 0; i < 16; i++)
        r._addr[i] = _addr[i] | o._addr[i];
    return r;
}

IPv6 IPv6::operator~() const
{
    IPv6 r;
    for (int i = 0; i < 16; i++)
        r._addr[i] = static_cast<uint8_t>(~_addr[i]);
    return r;
}

const IPv6& IPv6::ZERO()
{
    static const IPv6 a;
    return a;
}

const IPv6& IPv6::ANY()
{
    return ZERO();
}

const IPv6& IPv6::ALL_ONES()
{
    static const IPv6 a = ~IPv6();
    return a;
}

const IPv6& IPv6::LOOPBACK()
{
    static const uint8_t one[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    static const IPv6 a(one);
    return a;
}
