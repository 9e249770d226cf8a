// -*- c++ -*-
// IPNet<A>: an address prefix. The address is always kept masked.
#ifndef LIBXORP_IPNET_HH
#define LIBXORP_IPNET_HH

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "libxorp/c_format.hh"
#include "libxorp/exceptions.hh"

template <class A>
class IPNet {
public:
    IPNet() : _masked_addr(), _prefix_len(0) {}
    // Masks `a`; throws InvalidNetmaskLength if the length is too long.
    IPNet(const A& a, uint8_t prefix_len)
        : _masked_addr(a.mask_by_prefix_len(prefix_len)), _prefix_len(prefix_len) {}
    // "address/length"; throws InvalidString or InvalidNetmaskLength.
    IPNet(const char* from_string) { parse(from_string); }

    const A& masked_addr() const { return _masked_addr; }
    uint8_t prefix_len() const { return _prefix_len; }
    A netmask() const { return A::make_prefix(_prefix_len); }
    A top_addr() const { return _masked_addr | ~netmask(); }
    // True for every prefix but the default route.
    bool is_valid() const { return _prefix_len != 0; }
    bool contains(const A& a) const { return a.mask_by_prefix_len(_prefix_len) == _masked_addr; }
    bool contains(const IPNet& o) const {
        return o._prefix_len >= _prefix_len && contains(o._masked_addr);
    }
    // Masked address, then "/" and the length, e.g. "10.0.0.0/8".
    std::string str() const {
        return _masked_addr.str() + c_format("/%u", static_cast<unsigned>(_prefix_len));
    }

    bool operator==(const IPNet& o) const {
        return _prefix_len == o._prefix_len && _masked_addr == o._masked_addr;
    }
    bool operator!=(const IPNet& o) const { return !(*this == o); }
    // By address, then by length.
    bool operator<(const IPNet& o) const {
        return _masked_addr < o._masked_addr ||
               (_masked_addr == o._masked_addr && _prefix_len < o._prefix_len);
    }
    bool operator>(const IPNet& o) const { return o < *this; }
    bool operator<=(const IPNet& o) const { return !(o < *this); }
    bool operator>=(const IPNet& o) const { return !(*this < o); }

private:
    void parse(const char* s) {
        if (s == nullptr)
            xorp_throw(InvalidString, "Null value");
        const char* slash = strchr(s, '/');
        if (slash == nullptr)
            xorp_throw(InvalidString, "Missing slash");
        if (slash[1] == '\0')
            xorp_throw(InvalidString, "Missing prefix length");
        for (const char* p = slash + 1; *p != '\0'; p++) {
            if (*p < '0' || *p > '9')
                xorp_throw(InvalidString, "Bad prefix length");
        }
        unsigned long len = strtoul(slash + 1, nullptr, 10);
        if (len > A::addr_bitlen())
            xorp_throw(InvalidNetmaskLength, static_cast<int>(len > 0xffff ? 0xffff : len));
        std::string addr(s, slash - s);
        _prefix_len = static_cast<uint8_t>(len);
        _masked_addr = A(addr.c_str()).mask_by_prefix_len(_prefix_len);
    }

    A _masked_addr;
    uint8_t _prefix_len;
};

#endif  // LIBXORP_IPNET_HH
