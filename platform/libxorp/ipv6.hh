// -*- c++ -*-
// IPv6 address, kept in network byte order.
#ifndef LIBXORP_IPV6_HH
#define LIBXORP_IPV6_HH

#include <netinet/in.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "libxorp/exceptions.hh"

class IPv6 {
public:
    IPv6() { memset(_addr, 0, sizeof(_addr)); }
    IPv6(const in6_addr& a) { memcpy(_addr, &a, sizeof(_addr)); }
    // 16 bytes in network order.
    explicit IPv6(const uint8_t* from) { memcpy(_addr, from, sizeof(_addr)); }
    // Any form inet_pton accepts; throws InvalidString.
    IPv6(const char* from_string);

    const uint8_t* addr() const { return _addr; }
    void copy_out(in6_addr& to) const { memcpy(&to, _addr, sizeof(_addr)); }
    // Compressed lower-case form, e.g. "2001:db8::1".
    std::string str() const;

    bool is_zero() const;
    bool is_multicast() const { return _addr[0] == 0xff; }
    bool is_linklocal_unicast() const { return _addr[0] == 0xfe && (_addr[1] & 0xc0) == 0x80; }
    bool is_loopback() const;

    // Throws InvalidNetmaskLength if len > 128.
    static IPv6 make_prefix(uint32_t len);
    IPv6 mask_by_prefix_len(uint32_t len) const { return *this & make_prefix(len); }
    uint32_t mask_len() const;

    IPv6 operator&(const IPv6& o) const;
    IPv6 operator|(const IPv6& o) const;
    IPv6 operator~() const;

    bool operator==(const IPv6& o) const { return memcmp(_addr, o._addr, 16) == 0; }
    bool operator!=(const IPv6& o) const { return !(*this == o); }
    bool operator<(const IPv6& o) const { return memcmp(_addr, o._addr, 16) < 0; }
    bool operator>(const IPv6& o) const { return o < *this; }
    bool operator<=(const IPv6& o) const { return !(o < *this); }
    bool operator>=(const IPv6& o) const { return !(*this < o); }

    static uint32_t addr_bitlen() { return 128; }
    static uint32_t addr_bytelen() { return 16; }
    static int ip_version() { return 6; }
    static int af() { return AF_INET6; }

    static const IPv6& ZERO();
    static const IPv6& ANY();
    static const IPv6& ALL_ONES();
    static const IPv6& LOOPBACK();

private:
    uint8_t _addr[16];
};

#endif  // LIBXORP_IPV6_HH
