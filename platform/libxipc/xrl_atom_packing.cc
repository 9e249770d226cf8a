// XORP's packed form of one atom: a header byte (0x80 a name follows, 0x40
// data follows, low six bits the type), the name as a 2-byte length and its
// bytes, then the data, all integers big-endian.

#include "libxipc/xrl_atom.hh"

#include <arpa/inet.h>

#include <cmath>
#include <cstring>

namespace {

const uint8_t kNamed = 0x80;
const uint8_t kData = 0x40;
const uint8_t kTypeMask = 0x3f;

void
put_be(std::string& out, uint64_t v, int bytes)
{
    for (int i = bytes - 1; i >= 0; i--)
        out += static_cast<char>((v >> (8 * i)) & 0xff);
}

uint64_t
get_be(const uint8_t* p, int bytes)
{
    uint64_t v = 0;
    for (int i = 0; i < bytes; i++)
        v = (v << 8) | p[i];
    return v;
}

void
put_bytes(std::string& out, const void* p, size_t n)
{
    put_be(out, n, 4);
    out.append(static_cast<const char*>(p), n);
}

// Reads within [p, end); every getter fails once anything is missing.
struct Reader {
    const uint8_t* p;
    const uint8_t* end;

    bool have(size_t n) const { return static_cast<size_t>(end - p) >= n; }
    bool be(int bytes, uint64_t& v) {
        if (!have(bytes))
            return false;
        v = get_be(p, bytes);
        p += bytes;
        return true;
    }
    bool bytes(std::string& s) {
        uint64_t n;
        if (!be(4, n) || !have(n))
            return false;
        s.assign(reinterpret_cast<const char*>(p), n);
        p += n;
        return true;
    }
};

}  // namespace

void
XrlAtom::pack(std::string& out) const
{
    uint8_t hdr = _type & kTypeMask;
    if (!_name.empty())
        hdr |= kNamed;
    if (_have_data)
        hdr |= kData;
    out += static_cast<char>(hdr);
    if (!_name.empty()) {
        put_be(out, _name.size(), 2);
        out += _name;
    }
    if (!_have_data)
        return;
    switch (_type) {
    case xrlatom_int32:   put_be(out, static_cast<uint32_t>(_i32), 4); break;
    case xrlatom_uint32:  put_be(out, _u32, 4); break;
    case xrlatom_ipv4:    put_be(out, ntohl(_ipv4.addr()), 4); break;
    case xrlatom_ipv4net:
        put_be(out, ntohl(_ipv4net.masked_addr().addr()), 4);
        out += static_cast<char>(_ipv4net.prefix_len());
        break;
    case xrlatom_ipv6:
        out.append(reinterpret_cast<const char*>(_ipv6.addr()), 16);
        break;
    case xrlatom_ipv6net:
        out.append(reinterpret_cast<const char*>(_ipv6net.masked_addr().addr()), 16);
        out += static_cast<char>(_ipv6net.prefix_len());
        break;
    case xrlatom_mac:
    case xrlatom_text:    put_bytes(out, _text.data(), _text.size()); break;
    case xrlatom_binary:  put_bytes(out, _binary.data(), _binary.size()); break;
    case xrlatom_boolean: out += static_cast<char>(_bool ? 1 : 0); break;
    case xrlatom_int64:   put_be(out, static_cast<uint64_t>(_i64), 8); break;
    case xrlatom_uint64:  put_be(out, _u64, 8); break;
    case xrlatom_fp64: {
        uint64_t bits = 0x7ff0000000000001ULL;	// XORP's one NaN
        if (!std::isnan(_fp64))
            memcpy(&bits, &_fp64, sizeof(bits));
        put_be(out, bits, 8);
        break;
    }
    case xrlatom_list:
        put_be(out, _list.size(), 4);
        for (size_t i = 0; i < _list.size(); i++)
            _list.get(i).pack(out);
        break;
    default:
        break;
    }
}

size_t
XrlAtom::unpack(const uint8_t* start, size_t n, XrlAtom& atom)
{
    Reader r = { start, start + n };
    uint64_t v;
    if (!r.be(1, v))
        return 0;
    const uint8_t hdr = static_cast<uint8_t>(v);
    std::string name;
    if (hdr & kNamed) {
        if (!r.be(2, v) || !r.have(v))
            return 0;
        name.assign(reinterpret_cast<const char*>(r.p), v);
        r.p += v;
        if (!valid_name(name))
            return 0;
    }
    // A number beyond the last type is no XrlAtomType value at all.
    if ((hdr & kTypeMask) > xrlatom_end)
        return 0;
    const XrlAtomType type = static_cast<XrlAtomType>(hdr & kTypeMask);
    try {
        if (!(hdr & kData)) {
            atom = XrlAtom();
            atom._type = type;
            atom._name = std::move(name);
            return r.p - start;
        }
        std::string s;
        switch (type) {
        case xrlatom_int32:
            if (!r.be(4, v)) return 0;
            atom = XrlAtom(static_cast<int32_t>(static_cast<uint32_t>(v)));
            break;
        case xrlatom_uint32:
            if (!r.be(4, v)) return 0;
            atom = XrlAtom(static_cast<uint32_t>(v));
            break;
        case xrlatom_ipv4:
            if (!r.be(4, v)) return 0;
            atom = XrlAtom(IPv4(htonl(static_cast<uint32_t>(v))));
            break;
        case xrlatom_ipv4net: {
            uint64_t len;
            if (!r.be(4, v) || !r.be(1, len) || len > 32) return 0;
            atom = XrlAtom(IPv4Net(IPv4(htonl(static_cast<uint32_t>(v))),
                                   static_cast<uint8_t>(len)));
            break;
        }
        case xrlatom_ipv6:
        case xrlatom_ipv6net: {
            if (!r.have(16)) return 0;
            IPv6 a(r.p);
            r.p += 16;
            if (type == xrlatom_ipv6) {
                atom = XrlAtom(a);
                break;
            }
            uint64_t len;
            if (!r.be(1, len) || len > 128) return 0;
            atom = XrlAtom(IPv6Net(a, static_cast<uint8_t>(len)));
            break;
        }
        case xrlatom_mac:
            if (!r.bytes(s)) return 0;
            atom = XrlAtom("", xrlatom_mac, s);
            break;
        case xrlatom_text:
            if (!r.bytes(s)) return 0;
            atom = XrlAtom(s);
            break;
        case xrlatom_binary:
            if (!r.bytes(s)) return 0;
            atom = XrlAtom(std::vector<uint8_t>(s.begin(), s.end()));
            break;
        case xrlatom_boolean:
            if (!r.be(1, v)) return 0;
            atom = XrlAtom(v != 0);
            break;
        case xrlatom_int64:
            if (!r.be(8, v)) return 0;
            atom = XrlAtom(static_cast<int64_t>(v));
            break;
        case xrlatom_uint64:
            if (!r.be(8, v)) return 0;
            atom = XrlAtom(static_cast<uint64_t>(v));
            break;
        case xrlatom_fp64: {
            if (!r.be(8, v)) return 0;
            double d;
            memcpy(&d, &v, sizeof(d));
            atom = XrlAtom(d);
            break;
        }
        case xrlatom_list: {
            uint64_t count;
            if (!r.be(4, count)) return 0;
            XrlAtomList list;
            for (uint64_t i = 0; i < count; i++) {
                // Lists do not nest: refused before reading, so that a
                // chain of them cannot recurse deeply.
                if (!r.have(1) || (r.p[0] & kTypeMask) == xrlatom_list)
                    return 0;
                XrlAtom item;
                size_t used = unpack(r.p, r.end - r.p, item);
                if (used == 0)
                    return 0;
                list.append(item);
                r.p += used;
            }
            atom = XrlAtom(list);
            break;
        }
        default:
            return 0;
        }
    } catch (const XorpException&) {
        return 0;
    }
    // The name was checked above; set here, not through a named
    // constructor, so that it is neither checked nor copied twice.
    atom._name = std::move(name);
    return r.p - start;
}
