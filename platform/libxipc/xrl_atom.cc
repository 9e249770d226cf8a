#include "libxipc/xrl_atom.hh"

#include <cstring>

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "libxipc/xrl_atom_encoding.hh"

namespace {

struct TypeName {
    XrlAtomType type;
    const char* name;
};

const TypeName kTypeNames[] = {
    { xrlatom_no_type, "none" },
    { xrlatom_int32,   "i32" },
    { xrlatom_uint32,  "u32" },
    { xrlatom_ipv4,    "ipv4" },
    { xrlatom_ipv4net, "ipv4net" },
    { xrlatom_ipv6,    "ipv6" },
    { xrlatom_ipv6net, "ipv6net" },
    { xrlatom_mac,     "mac" },
    { xrlatom_text,    "txt" },
    { xrlatom_list,    "list" },
    { xrlatom_boolean, "bool" },
    { xrlatom_binary,  "binary" },
    { xrlatom_int64,   "i64" },
    { xrlatom_uint64,  "u64" },
    { xrlatom_fp64,    "fp64" },
};

bool
supported(XrlAtomType t)
{
    return t != xrlatom_no_type;
}

// XORP's form: up to six groups of 1-2 lowercase hex digits, no padding.
bool
valid_mac(const std::string& s)
{
    int groups = 0;
    size_t i = 0;
    while (i <= s.size()) {
        size_t j = i;
        while (j < s.size() && isxdigit(static_cast<unsigned char>(s[j])))
            j++;
        if (j == i || j - i > 2)
            return false;
        groups++;
        if (j == s.size())
            break;
        if (s[j] != ':')
            return false;
        i = j + 1;
    }
    return groups == 6;
}

// Strict decimal: optional '-' when signed, then digits only, within range.
bool
parse_unsigned(const std::string& s, uint64_t max, uint64_t& out)
{
    if (s.empty() || s.size() > 20)
        return false;
    uint64_t v = 0;
    for (char c : s) {
        if (c < '0' || c > '9')
            return false;
        uint64_t d = static_cast<uint64_t>(c - '0');
        if (v > (max - d) / 10)
            return false;
        v = v * 10 + d;
    }
    out = v;
    return true;
}

bool
parse_signed(const std::string& s, int64_t min, int64_t max, int64_t& out)
{
    bool negative = !s.empty() && s[0] == '-';
    uint64_t magnitude;
    uint64_t limit = negative ? static_cast<uint64_t>(-(min + 1)) + 1
                              : static_cast<uint64_t>(max);
    if (!parse_unsigned(negative ? s.substr(1) : s, limit, magnitude))
        return false;
    if (negative)
        out = magnitude == 0 ? 0 : -static_cast<int64_t>(magnitude - 1) - 1;
    else
        out = static_cast<int64_t>(magnitude);
    return true;
}

std::string
quoted(const std::string& s)
{
    return "\"" + s + "\"";
}

}  // namespace

const char*
xrlatom_type_name(const XrlAtomType& t)
{
    for (const TypeName& tn : kTypeNames) {
        if (tn.type == t)
            return tn.name;
    }
    return "none";
}

XrlAtomType
xrlatom_type_from_name(const std::string& name)
{
    for (const TypeName& tn : kTypeNames) {
        if (name == tn.name && supported(tn.type))
            return tn.type;
    }
    return xrlatom_no_type;
}

bool
XrlAtom::valid_name(const std::string& name)
{
    return valid_name(name.data(), name.size());
}

bool
XrlAtom::valid_name(const char* name, size_t len)
{
    // [A-Za-z0-9_-], looked up rather than compared: every atom of every
    // message passes here.
    static const struct Table {
        bool ok[256];
        Table() : ok() {
            for (int c = 0; c < 256; c++)
                ok[c] = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')
                    || (c >= '0' && c <= '9') || c == '_' || c == '-';
        }
    } table;
    for (size_t i = 0; i < len; i++)
        if (!table.ok[static_cast<uint8_t>(name[i])])
            return false;
    return true;
}

void
XrlAtom::set_name(const char* name)
{
    size_t len = strlen(name);
    if (!valid_name(name, len))
        xorp_throw(BadName, "bad atom name " + quoted(name));
    _name.assign(name, len);
}

void
XrlAtom::rename(const char* name)
{
    if (!named(name))
        set_name(name);
}

void
XrlAtom::set_name(const std::string& name)
{
    if (!valid_name(name))
        xorp_throw(BadName, "bad atom name " + quoted(name));
    _name = name;
}

XrlAtom::XrlAtom()
    : _type(xrlatom_no_type), _have_data(false)
{
}

XrlAtom::XrlAtom(const char* name, XrlAtomType type)
    : _type(type), _have_data(false)
{
    set_name(name);
}

#define XRL_ATOM_VALUE_CTORS(T, tag, member)                                \
    XrlAtom::XrlAtom(const T& v)                                            \
        : _type(tag), _have_data(true)                                      \
    {                                                                       \
        member = v;                                                         \
    }                                                                       \
    XrlAtom::XrlAtom(const char* name, const T& v)                          \
        : _type(tag), _have_data(true)                                      \
    {                                                                       \
        set_name(name);                                                     \
        member = v;                                                         \
    }                                                                       \
    void XrlAtom::reset(const char* name, const T& v)                       \
    {                                                                       \
        rename(name);                                                       \
        _type = tag;                                                        \
        _have_data = true;                                                  \
        member = v;                                                         \
    }

XRL_ATOM_VALUE_CTORS(int32_t, xrlatom_int32, _i32)
XRL_ATOM_VALUE_CTORS(uint32_t, xrlatom_uint32, _u32)
XRL_ATOM_VALUE_CTORS(bool, xrlatom_boolean, _bool)
XRL_ATOM_VALUE_CTORS(IPv4, xrlatom_ipv4, _ipv4)
XRL_ATOM_VALUE_CTORS(IPv4Net, xrlatom_ipv4net, _ipv4net)
XRL_ATOM_VALUE_CTORS(IPv6, xrlatom_ipv6, _ipv6)
XRL_ATOM_VALUE_CTORS(IPv6Net, xrlatom_ipv6net, _ipv6net)
XRL_ATOM_VALUE_CTORS(std::string, xrlatom_text, _text)
XRL_ATOM_VALUE_CTORS(XrlAtomList, xrlatom_list, _list)
XRL_ATOM_VALUE_CTORS(std::vector<uint8_t>, xrlatom_binary, _binary)
XRL_ATOM_VALUE_CTORS(int64_t, xrlatom_int64, _i64)
XRL_ATOM_VALUE_CTORS(uint64_t, xrlatom_uint64, _u64)
XRL_ATOM_VALUE_CTORS(double, xrlatom_fp64, _fp64)

#undef XRL_ATOM_VALUE_CTORS

XrlAtom::XrlAtom(const char* name, XrlAtomType type, const std::string& text)
    : _type(type), _have_data(false)
{
    set_name(name);
    if (!supported(type) || type == xrlatom_list)
        xorp_throw(InvalidString, "no text form for this type");
    set_value_from_text(text);
    _have_data = true;
}

XrlAtom::XrlAtom(const char* name, const char* v)
    : _type(xrlatom_text), _have_data(true), _text(v)
{
    set_name(name);
}

void
XrlAtom::reset(const char* name, const char* v)
{
    rename(name);
    _type = xrlatom_text;
    _have_data = true;
    _text = v;
}

XrlAtom::XrlAtom(const char* text)
    : _type(xrlatom_no_type), _have_data(false)
{
    std::string s(text);
    size_t colon = s.find(':');
    if (colon == std::string::npos)
        xorp_throw(InvalidString, "atom without type: " + quoted(s));
    std::string name = s.substr(0, colon);
    if (!valid_name(name))
        xorp_throw(InvalidString, "bad atom name " + quoted(name));
    _name = name;

    size_t eq = s.find('=', colon + 1);
    std::string type_name = s.substr(colon + 1, eq == std::string::npos
                                     ? std::string::npos : eq - colon - 1);
    _type = xrlatom_type_from_name(type_name);
    if (_type == xrlatom_no_type)
        xorp_throw(InvalidString, "xrlatom bad type " + quoted(type_name));
    if (eq != std::string::npos)
        parse_value(s.substr(eq + 1));
}

void
XrlAtom::parse_value(const std::string& encoded)
{
    if (_type == xrlatom_list) {
        // Commas inside items are always escaped, so a raw ',' separates
        // items; each item decodes its own value.
        XrlAtomList list;
        size_t start = 0;
        while (start < encoded.size()) {
            size_t comma = encoded.find(',', start);
            if (comma == std::string::npos)
                comma = encoded.size();
            std::string item = encoded.substr(start, comma - start);
            // Refused before parsing: each level of a nested list would
            // recurse once, and a long enough chain overflows the stack.
            size_t colon = item.find(':');
            if (colon != std::string::npos
                && item.compare(colon + 1, item.find('=', colon) - colon - 1,
                                "list") == 0)
                xorp_throw(InvalidString, "a list cannot hold a list");
            XrlAtom atom(item.c_str());
            if (!atom.has_data())
                xorp_throw(InvalidString, "list item without value "
                           + quoted(item));
            try {
                list.append(atom);
            } catch (const XrlAtomList::BadAtomType& e) {
                xorp_throw(InvalidString, e.why());
            }
            start = comma + 1;
            if (comma + 1 == encoded.size())
                xorp_throw(InvalidString, "list ends with ','");
        }
        _list = list;
        _have_data = true;
        return;
    }

    std::string decoded;
    if (!xrlatom_decode_value(encoded, decoded))
        xorp_throw(InvalidString, "bad escape in value " + quoted(encoded));
    set_value_from_text(decoded);
    _have_data = true;
}

void
XrlAtom::set_value_from_text(const std::string& v)
{
    std::string bad = std::string("bad ") + type_name() + " value " + quoted(v);
    switch (_type) {
    case xrlatom_int32: {
        int64_t n;
        if (!parse_signed(v, INT32_MIN, INT32_MAX, n))
            xorp_throw(InvalidString, bad);
        _i32 = static_cast<int32_t>(n);
        break;
    }
    case xrlatom_uint32: {
        uint64_t n;
        if (!parse_unsigned(v, UINT32_MAX, n))
            xorp_throw(InvalidString, bad);
        _u32 = static_cast<uint32_t>(n);
        break;
    }
    case xrlatom_int64:
        if (!parse_signed(v, INT64_MIN, INT64_MAX, _i64))
            xorp_throw(InvalidString, bad);
        break;
    case xrlatom_uint64:
        if (!parse_unsigned(v, UINT64_MAX, _u64))
            xorp_throw(InvalidString, bad);
        break;
    case xrlatom_boolean:
        if (v == "true" || v == "1")
            _bool = true;
        else if (v == "false" || v == "0")
            _bool = false;
        else
            xorp_throw(InvalidString, bad);
        break;
    case xrlatom_text:
        _text = v;
        break;
    case xrlatom_mac:
        if (!valid_mac(v))
            xorp_throw(InvalidString, bad);
        _text = v;
        for (char& c : _text)
            c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        break;
    case xrlatom_fp64: {
        char* end = NULL;
        if (v.empty() || isspace(static_cast<unsigned char>(v[0])))
            xorp_throw(InvalidString, bad);
        _fp64 = strtod(v.c_str(), &end);
        if (end != v.c_str() + v.size())
            xorp_throw(InvalidString, bad);
        break;
    }
    case xrlatom_binary:
        _binary.assign(v.begin(), v.end());
        break;
    case xrlatom_ipv4:
    case xrlatom_ipv4net:
    case xrlatom_ipv6:
    case xrlatom_ipv6net:
        // The address classes read up to a NUL; a value holding one is bad.
        if (v.empty() || v.find('\0') != std::string::npos)
            xorp_throw(InvalidString, bad);
        try {
            if (_type == xrlatom_ipv4)
                _ipv4 = IPv4(v.c_str());
            else if (_type == xrlatom_ipv4net)
                _ipv4net = IPv4Net(v.c_str());
            else if (_type == xrlatom_ipv6)
                _ipv6 = IPv6(v.c_str());
            else
                _ipv6net = IPv6Net(v.c_str());
        } catch (const XorpException& e) {
            xorp_throw(InvalidString, bad + ": " + e.why());
        }
        break;
    default:
        xorp_throw(InvalidString, bad);
    }
}

void
XrlAtom::check_type(XrlAtomType wanted) const
{
    if (_type != wanted) {
        xorp_throw(WrongType, std::string("atom ") + quoted(_name) + " is "
                   + type_name() + ", not " + xrlatom_type_name(wanted));
    }
    if (!_have_data)
        xorp_throw(NoData, "atom " + quoted(_name) + " has no value");
}

#define XRL_ATOM_ACCESSOR(T, fn, tag, member)   \
    const T& XrlAtom::fn() const                \
    {                                           \
        check_type(tag);                        \
        return member;                          \
    }

XRL_ATOM_ACCESSOR(int32_t, int32, xrlatom_int32, _i32)
XRL_ATOM_ACCESSOR(uint32_t, uint32, xrlatom_uint32, _u32)
XRL_ATOM_ACCESSOR(bool, boolean, xrlatom_boolean, _bool)
XRL_ATOM_ACCESSOR(IPv4, ipv4, xrlatom_ipv4, _ipv4)
XRL_ATOM_ACCESSOR(IPv4Net, ipv4net, xrlatom_ipv4net, _ipv4net)
XRL_ATOM_ACCESSOR(IPv6, ipv6, xrlatom_ipv6, _ipv6)
XRL_ATOM_ACCESSOR(IPv6Net, ipv6net, xrlatom_ipv6net, _ipv6net)
XRL_ATOM_ACCESSOR(std::string, text, xrlatom_text, _text)
XRL_ATOM_ACCESSOR(XrlAtomList, list, xrlatom_list, _list)
XRL_ATOM_ACCESSOR(std::vector<uint8_t>, binary, xrlatom_binary, _binary)
XRL_ATOM_ACCESSOR(int64_t, int64, xrlatom_int64, _i64)
XRL_ATOM_ACCESSOR(uint64_t, uint64, xrlatom_uint64, _u64)
XRL_ATOM_ACCESSOR(double, fp64, xrlatom_fp64, _fp64)
XRL_ATOM_ACCESSOR(std::string, mac, xrlatom_mac, _text)

#undef XRL_ATOM_ACCESSOR

std::string
XrlAtom::value() const
{
    if (!_have_data)
        return "";
    switch (_type) {
    case xrlatom_int32:   return std::to_string(_i32);
    case xrlatom_uint32:  return std::to_string(_u32);
    case xrlatom_int64:   return std::to_string(_i64);
    case xrlatom_uint64:  return std::to_string(_u64);
    case xrlatom_boolean: return _bool ? "true" : "false";
    case xrlatom_ipv4:    return xrlatom_encode_value(_ipv4.str());
    case xrlatom_ipv4net: return xrlatom_encode_value(_ipv4net.str());
    case xrlatom_ipv6:    return xrlatom_encode_value(_ipv6.str());
    case xrlatom_ipv6net: return xrlatom_encode_value(_ipv6net.str());
    case xrlatom_text:    return xrlatom_encode_value(_text);
    case xrlatom_mac:     return xrlatom_encode_value(_text);
    case xrlatom_fp64: {
        char b[64];
        snprintf(b, sizeof(b), "%A", _fp64);
        return xrlatom_encode_value(b);
    }
    case xrlatom_binary:
        return xrlatom_encode_value(
            reinterpret_cast<const char*>(_binary.data()), _binary.size());
    case xrlatom_list:    return _list.str();   // items are encoded already
    default:              return "";
    }
}

std::string
XrlAtom::str() const
{
    std::string s = _name + ":" + type_name();
    if (_have_data)
        s += "=" + value();
    return s;
}

bool
XrlAtom::operator==(const XrlAtom& other) const
{
    if (_name != other._name || _type != other._type
        || _have_data != other._have_data)
        return false;
    if (!_have_data)
        return true;
    if (_type == xrlatom_list)
        return _list == other._list;
    return value() == other.value();
}
