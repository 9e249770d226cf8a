// XrlAtom: one named, typed value of an XRL, and its "name:type=value" text.

#ifndef __LIBXIPC_XRL_ATOM_HH__
#define __LIBXIPC_XRL_ATOM_HH__

#include "libxorp/xorp.h"
#include "libxorp/exceptions.hh"
#include "libxorp/ipv4.hh"
#include "libxorp/ipv4net.hh"
#include "libxorp/ipv6.hh"
#include "libxorp/ipv6net.hh"
#include "libxipc/xrl_atom_list.hh"

// The numbering is XORP's (and so is the packed form's type byte).
enum XrlAtomType {
    xrlatom_no_type = 0,
    xrlatom_int32,
    xrlatom_uint32,
    xrlatom_ipv4,
    xrlatom_ipv4net,
    xrlatom_ipv6,
    xrlatom_ipv6net,
    xrlatom_mac,
    xrlatom_text,
    xrlatom_list,
    xrlatom_boolean,
    xrlatom_binary,
    xrlatom_int64,
    xrlatom_uint64,
    xrlatom_fp64,
    xrlatom_start = xrlatom_int32,
    xrlatom_end = xrlatom_fp64
};

// "i32", "u32", "ipv4", ... ; "none" for xrlatom_no_type.
const char* xrlatom_type_name(const XrlAtomType& t);

// The type called `name`, or xrlatom_no_type if there is no supported one.
XrlAtomType xrlatom_type_from_name(const std::string& name);

class XrlAtom {
public:
    struct NoData : public XorpReasonedException {
        NoData(const char* file, size_t line, const std::string& why = "")
            : XorpReasonedException("XrlAtom::NoData", file, line, why) {}
    };
    struct WrongType : public XorpReasonedException {
        WrongType(const char* file, size_t line, const std::string& why = "")
            : XorpReasonedException("XrlAtom::WrongType", file, line, why) {}
    };
    struct BadName : public XorpReasonedException {
        BadName(const char* file, size_t line, const std::string& why = "")
            : XorpReasonedException("XrlAtom::BadName", file, line, why) {}
    };

    XrlAtom();                                       // no type, no data

    // Parses "name:type=value" (value encoded; "=value" may be absent, which
    // gives an atom without data). Throws InvalidString on any fault.
    explicit XrlAtom(const char* text);

    // A named atom of the given type without data; throws BadName.
    XrlAtom(const char* name, XrlAtomType type);

    // A named atom of the given type whose value is read from its decoded
    // text (the only way to make a mac atom); throws InvalidString.
    XrlAtom(const char* name, XrlAtomType type, const std::string& text);

    // Unnamed values.
    explicit XrlAtom(const int32_t& v);
    explicit XrlAtom(const uint32_t& v);
    explicit XrlAtom(const bool& v);
    explicit XrlAtom(const IPv4& v);
    explicit XrlAtom(const IPv4Net& v);
    explicit XrlAtom(const IPv6& v);
    explicit XrlAtom(const IPv6Net& v);
    explicit XrlAtom(const std::string& v);
    explicit XrlAtom(const XrlAtomList& v);
    explicit XrlAtom(const std::vector<uint8_t>& v);
    explicit XrlAtom(const int64_t& v);
    explicit XrlAtom(const uint64_t& v);
    explicit XrlAtom(const double& v);

    // Named values; the name may hold only [A-Za-z0-9_-] (throws BadName).
    XrlAtom(const char* name, const int32_t& v);
    XrlAtom(const char* name, const uint32_t& v);
    XrlAtom(const char* name, const bool& v);
    XrlAtom(const char* name, const IPv4& v);
    XrlAtom(const char* name, const IPv4Net& v);
    XrlAtom(const char* name, const IPv6& v);
    XrlAtom(const char* name, const IPv6Net& v);
    XrlAtom(const char* name, const std::string& v);
    XrlAtom(const char* name, const char* v);        // text, not bool
    XrlAtom(const char* name, const XrlAtomList& v);
    XrlAtom(const char* name, const std::vector<uint8_t>& v);
    XrlAtom(const char* name, const int64_t& v);
    XrlAtom(const char* name, const uint64_t& v);
    XrlAtom(const char* name, const double& v);

    const std::string& name() const { return _name; }
    void set_name(const std::string& name);          // throws BadName
    void set_name(const char* name);
    // True when the name is `name`, without a library call.
    bool named(const char* name) const {
        const char* p = _name.data();
        size_t n = _name.size();
        for (size_t i = 0; i < n; i++)         // a held name has no NUL
            if (p[i] != name[i])
                return false;
        return name[n] == '\0';
    }

    // Becomes the named value, as the constructor of the same arguments
    // makes it, in place: an atom reused from an earlier message keeps its
    // strings' room, and a name it already has is neither checked again
    // nor copied.  Throws BadName.
    void reset(const char* name, const int32_t& v);
    void reset(const char* name, const uint32_t& v);
    void reset(const char* name, const bool& v);
    void reset(const char* name, const IPv4& v);
    void reset(const char* name, const IPv4Net& v);
    void reset(const char* name, const IPv6& v);
    void reset(const char* name, const IPv6Net& v);
    void reset(const char* name, const std::string& v);
    void reset(const char* name, const char* v);
    void reset(const char* name, const XrlAtomList& v);
    void reset(const char* name, const std::vector<uint8_t>& v);
    void reset(const char* name, const int64_t& v);
    void reset(const char* name, const uint64_t& v);
    void reset(const char* name, const double& v);
    XrlAtomType type() const { return _type; }
    const char* type_name() const { return xrlatom_type_name(_type); }
    bool has_data() const { return _have_data; }

    // Typed accessors; throw WrongType or NoData.
    const int32_t& int32() const;
    const uint32_t& uint32() const;
    const bool& boolean() const;
    const IPv4& ipv4() const;
    const IPv4Net& ipv4net() const;
    const IPv6& ipv6() const;
    const IPv6Net& ipv6net() const;
    const std::string& text() const;
    const XrlAtomList& list() const;
    const std::vector<uint8_t>& binary() const;
    const int64_t& int64() const;
    const uint64_t& uint64() const;
    const double& fp64() const;
    const std::string& mac() const;      // as XORP prints it: 0:11:22:aa:bb:cc

    // XORP's packed form: header byte, name, data.  pack() appends to `out`;
    // unpack() reads one atom from [p, p + n) and returns the bytes used, or
    // 0 when they do not hold a well-formed atom.
    void pack(std::string& out) const;
    static size_t unpack(const uint8_t* p, size_t n, XrlAtom& atom);

    // The encoded value ("" without data), and "name:type[=value]".
    std::string value() const;
    std::string str() const;

    // Same name, type, data presence and value.
    bool operator==(const XrlAtom& other) const;
    bool operator!=(const XrlAtom& other) const { return !(*this == other); }

    static bool valid_name(const std::string& name);
    static bool valid_name(const char* name, size_t len);

private:
    void rename(const char* name);
    void check_type(XrlAtomType wanted) const;
    void parse_value(const std::string& encoded);
    void set_value_from_text(const std::string& decoded);

    std::string  _name;
    XrlAtomType  _type;
    bool         _have_data;

    // Only the member of the atom's type is meaningful.
    int32_t      _i32 = 0;
    uint32_t     _u32 = 0;
    bool         _bool = false;
    int64_t      _i64 = 0;
    uint64_t     _u64 = 0;
    double       _fp64 = 0;
    IPv4         _ipv4;
    IPv4Net      _ipv4net;
    IPv6         _ipv6;
    IPv6Net      _ipv6net;
    std::string  _text;                  // txt, and mac
    std::vector<uint8_t> _binary;
    XrlAtomList  _list;
};

#endif // __LIBXIPC_XRL_ATOM_HH__
