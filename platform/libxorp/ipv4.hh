// -*- c++ -*-
// IPv4 address, kept in network byte order.
#ifndef LIBXORP_IPV4_HH
#define LIBXORP_IPV4_HH

#include <netinet/in.h>

#include <cstdint>
#include <string>

#include "libxorp/exceptions.hh"

class IPv4 {
public:
    IPv4() : _addr(0) {}
    // The address in network byte order.
    explicit IPv4(uint32_t network_order) : _addr(network_order) {}
    IPv4(const in_addr& a) : _addr(a.s_addr) {}
    // Dotted quad; throws InvalidString.
    IPv4(const char* from_string);

    // Network byte order.
    uint32_t addr() const { return _addr; }
    void set_addr(uint32_t network_order) { _addr = network_order; }
    void copy_out(in_addr& to) const { to.s_addr = _addr; }
    std::string str() const;

    bool is_zero() const { return _addr == 0; }
    bool is_unicast() const;
    bool is_multicast() const;
    bool is_loopback() const;

    // The netmask of prefix length `len`; throws InvalidNetmaskLength if > 32.
    static IPv4 make_prefix(uint32_t len);
    IPv4 mask_by_prefix_len(uint32_t len) const { return *this & make_prefix(len); }
    // Length of the leading ones of a netmask.
    uint32_t mask_len() const;

    IPv4 operator&(const IPv4& o) const { return IPv4(_addr & o._addr); }
    IPv4 operator|(const IPv4& o) const { return IPv4(_addr | o._addr); }
    IPv4 operator^(const IPv4& o) const { return IPv4(_addr ^ o._addr); }
    IPv4 operator~() const { return IPv4(~_addr); }

    bool operator==(const IPv4& o) const { return _addr == o._addr; }
    bool operator!=(const IPv4& o) const { return _addr != o._addr; }
    // Ordered as numbers (host order).
    bool operator<(const IPv4& o) const { return ntohl(_addr) < ntohl(o._addr); }
    bool operator>(const IPv4& o) const { return o < *this; }
    bool operator<=(const IPv4& o) const { return !(o < *this); }
    bool operator>=(const IPv4& o) const { return !(*this < o); }

    static uint32_t addr_bitlen() { return 32; }
    static uint32_t addr_bytelen() { return 4; }
    static int ip_version() { return 4; }
    static int af() { return AF_INET; }

    static const IPv4& ZERO();
    static const IPv4& ANY();
    static const IPv4& ALL_ONES();
    static const IPv4& LOOPBACK();

private:
    uint32_t _addr;
};

#endif  // LIBXORP_IPV4_HH
