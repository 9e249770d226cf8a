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

uint64_t
get_be(const uint8_t* p, int bytes)
{
    uint64_t v = 0;
    for (int i = 0; i < bytes; i++)
        v = (v << 8) | p[i];
    return v;
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
        if (s.size() != n || memcmp(s.data(), p, n) != 0)
            s.assign(reinterpret_cast<const char*>(p), n);
        p += n;
        return true;
    }
};

}  // namespace

void
XrlAtom::pack(std::string& out) const
{
    // The parts are put together here and appended at once (a long name
    // or text on its own).
    const size_t kShort = 48;
    char b[2 * kShort + 32];
    size_t n = 0;
    auto be = [&b, &n](uint64_t v, int bytes) {
        for (int i = bytes - 1; i >= 0; i--)
            b[n++] = static_cast<char>((v >> (8 * i)) & 0xff);
    };
    uint8_t hdr = _type & kTypeMask;
    if (!_name.empty())
        hdr |= kNamed;
    if (_have_data)
        hdr |= kData;
    b[n++] = static_cast<char>(hdr);
    if (!_name.empty()) {
        be(_name.size(), 2);
        if (_name.size() <= kShort) {
            memcpy(b + n, _name.data(), _name.size());
            n += _name.size();
        } else {
            out.append(b, n);
            out += _name;
            n = 0;
        }
    }
    if (_have_data) {
        switch (_type) {
        case xrlatom_int32:   be(static_cast<uint32_t>(_i32), 4); break;
        case xrlatom_uint32:  be(_u32, 4); break;
        case xrlatom_ipv4:    be(ntohl(_ipv4.addr()), 4); break;
        case xrlatom_ipv4net:
            be(ntohl(_ipv4net.masked_addr().addr()), 4);
            b[n++] = static_cast<char>(_ipv4net.prefix_len());
            break;
        case xrlatom_ipv6:
            memcpy(b + n, _ipv6.addr(), 16);
            n += 16;
            break;
        case xrlatom_ipv6net:
            memcpy(b + n, _ipv6net.masked_addr().addr(), 16);
            n += 16;
            b[n++] = static_cast<char>(_ipv6net.prefix_len());
            break;
        case xrlatom_mac:
        case xrlatom_text:
            be(_text.size(), 4);
            if (_text.size() <= kShort) {
                memcpy(b + n, _text.data(), _text.size());
                n += _text.size();
                break;
            }
            out.append(b, n);
            out += _text;
            return;
        case xrlatom_binary:
            be(_binary.size(), 4);
            out.append(b, n);
            out.append(reinterpret_cast<const char*>(_binary.data()),
                       _binary.size());
            return;
        case xrlatom_boolean: b[n++] = static_cast<char>(_bool ? 1 : 0); break;
        case xrlatom_int64:   be(static_cast<uint64_t>(_i64), 8); break;
        case xrlatom_uint64:  be(_u64, 8); break;
        case xrlatom_fp64: {
            uint64_t bits = 0x7ff0000000000001ULL;	// XORP's one NaN
            if (!std::isnan(_fp64))
                memcpy(&bits, &_fp64, sizeof(bits));
            be(bits, 8);
            break;
        }
        case xrlatom_list:
            be(_list.size(), 4);
            out.append(b, n);
            for (size_t i = 0; i < _list.size(); i++)
                _list.get(i).pack(out);
            return;
        default:
            break;
        }
    }
    if (n > 0)
        out.append(b, n);
}

size_t
XrlAtom::unpack(const uint8_t* start, size_t n, XrlAtom& atom)
{
    // Fills `atom` in place (it may be one reused from an earlier message:
    // strings keep their room), so that nothing is built twice.
    Reader r = { start, start + n };
    uint64_t v;
    if (!r.be(1, v))
        return 0;
    const uint8_t hdr = static_cast<uint8_t>(v);
    if (hdr & kNamed) {
        if (!r.be(2, v) || !r.have(v))
            return 0;
        // The name the atom has already (the same method's answer again)
        // was checked when it was taken, and stays.
        const char* name = reinterpret_cast<const char*>(r.p);
        if (atom._name.size() != v || memcmp(atom._name.data(), name, v) != 0) {
            if (!valid_name(name, v))
                return 0;
            atom._name.assign(name, v);
        }
        r.p += v;
    } else {
        atom._name.clear();
    }
    // A number beyond the last type is no XrlAtomType value at all.
    if ((hdr & kTypeMask) > xrlatom_end)
        return 0;
    const XrlAtomType type = static_cast<XrlAtomType>(hdr & kTypeMask);
    atom._have_data = false;
    atom._type = type;
    if (!(hdr & kData))
        return r.p - start;
    try {
        switch (type) {
        case xrlatom_int32:
            if (!r.be(4, v)) return 0;
            atom._i32 = static_cast<int32_t>(static_cast<uint32_t>(v));
            break;
        case xrlatom_uint32:
            if (!r.be(4, v)) return 0;
            atom._u32 = static_cast<uint32_t>(v);
            break;
        case xrlatom_ipv4:
            if (!r.be(4, v)) return 0;
            atom._ipv4 = IPv4(htonl(static_cast<uint32_t>(v)));
            break;
        case xrlatom_ipv4net: {
            uint64_t len;
            if (!r.be(4, v) || !r.be(1, len) || len > 32) return 0;
            atom._ipv4net = IPv4Net(IPv4(htonl(static_cast<uint32_t>(v))),
                                    static_cast<uint8_t>(len));
            break;
        }
        case xrlatom_ipv6:
        case xrlatom_ipv6net: {
            if (!r.have(16)) return 0;
            IPv6 a(r.p);
            r.p += 16;
            if (type == xrlatom_ipv6) {
                atom._ipv6 = a;
                break;
            }
            uint64_t len;
            if (!r.be(1, len) || len > 128) return 0;
            atom._ipv6net = IPv6Net(a, static_cast<uint8_t>(len));
            break;
        }
        case xrlatom_mac: {
            std::string s;
            if (!r.bytes(s)) return 0;
            atom.set_value_from_text(s);
            break;
        }
        case xrlatom_text:
            if (!r.bytes(atom._text)) return 0;
            break;
        case xrlatom_binary: {
            uint64_t len;
            if (!r.be(4, len) || !r.have(len)) return 0;
            atom._binary.assign(r.p, r.p + len);
            r.p += len;
            break;
        }
        case xrlatom_boolean:
            if (!r.be(1, v)) return 0;
            atom._bool = v != 0;
            break;
        case xrlatom_int64:
            if (!r.be(8, v)) return 0;
            atom._i64 = static_cast<int64_t>(v);
            break;
        case xrlatom_uint64:
            if (!r.be(8, v)) return 0;
            atom._u64 = v;
            break;
        case xrlatom_fp64:
            if (!r.be(8, v)) return 0;
            memcpy(&atom._fp64, &v, sizeof(v));
            break;
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
            atom._list = list;
            break;
        }
        default:
            return 0;
        }
    } catch (const XorpException&) {
        return 0;
    }
    atom._have_data = true;
    return r.p - start;
}
