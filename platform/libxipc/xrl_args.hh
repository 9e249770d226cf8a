// XrlArgs: the ordered, uniquely named atoms of an XRL call or reply.

#ifndef __LIBXIPC_XRL_ARGS_HH__
#define __LIBXIPC_XRL_ARGS_HH__

#include <algorithm>

#include "libxorp/xorp.h"
#include "libxorp/exceptions.hh"
#include "libxipc/xrl_atom.hh"

class XrlArgs {
public:
    // A type or data fault when reading an argument.
    struct BadArgs : public XorpReasonedException {
        BadArgs(const char* file, size_t line, const std::string& why = "")
            : XorpReasonedException("XrlArgs::BadArgs", file, line, why) {}
    };
    // Adding a name that is already present.
    struct XrlAtomFound : public XorpReasonedException {
        XrlAtomFound(const char* file, size_t line, const std::string& why = "")
            : XorpReasonedException("XrlArgs::XrlAtomFound", file, line, why) {}
    };
    // Reading a name that is not present.
    struct XrlAtomNotFound : public XorpReasonedException {
        XrlAtomNotFound(const char* file, size_t line, const std::string& why = "")
            : XorpReasonedException("XrlArgs::XrlAtomNotFound", file, line, why) {}
    };

    typedef std::vector<XrlAtom>::const_iterator const_iterator;

    XrlArgs() {}
    XrlArgs(const XrlArgs& o) : _args(o.begin(), o.end()), _n(o._n) {}
    XrlArgs(XrlArgs&& o) noexcept : _args(std::move(o._args)), _n(o._n) { o._n = 0; }
    XrlArgs& operator=(const XrlArgs& o);
    XrlArgs& operator=(XrlArgs&& o) noexcept;
    // Parses "a:u32=1&b:txt=x" (empty text gives no atoms); throws InvalidString.
    explicit XrlArgs(const char* text);

    // All add* throw XrlAtomFound on a duplicate name.
    XrlArgs& add(const XrlAtom& atom);
    XrlArgs& add(XrlAtom&& atom);
    XrlArgs& add(const char* name, const int32_t& v)    { return emplace(name, v); }
    XrlArgs& add(const char* name, const uint32_t& v)   { return emplace(name, v); }
    XrlArgs& add(const char* name, const bool& v)       { return emplace(name, v); }
    XrlArgs& add(const char* name, const IPv4& v)       { return emplace(name, v); }
    XrlArgs& add(const char* name, const IPv4Net& v)    { return emplace(name, v); }
    XrlArgs& add(const char* name, const IPv6& v)       { return emplace(name, v); }
    XrlArgs& add(const char* name, const IPv6Net& v)    { return emplace(name, v); }
    XrlArgs& add(const char* name, const std::string& v) { return emplace(name, v); }
    XrlArgs& add(const char* name, const char* v)       { return emplace(name, v); }
    XrlArgs& add(const char* name, const XrlAtomList& v) { return emplace(name, v); }
    XrlArgs& add(const char* name, const std::vector<uint8_t>& v) { return emplace(name, v); }
    XrlArgs& add(const char* name, const int64_t& v)    { return emplace(name, v); }
    XrlArgs& add(const char* name, const uint64_t& v)   { return emplace(name, v); }

    XrlArgs& add_int32(const char* n, int32_t v)             { return add(n, v); }
    XrlArgs& add_uint32(const char* n, uint32_t v)           { return add(n, v); }
    XrlArgs& add_bool(const char* n, bool v)                 { return add(n, v); }
    XrlArgs& add_ipv4(const char* n, const IPv4& v)          { return add(n, v); }
    XrlArgs& add_ipv4net(const char* n, const IPv4Net& v)    { return add(n, v); }
    XrlArgs& add_ipv6(const char* n, const IPv6& v)          { return add(n, v); }
    XrlArgs& add_ipv6net(const char* n, const IPv6Net& v)    { return add(n, v); }
    XrlArgs& add_string(const char* n, const std::string& v) { return add(n, v); }
    XrlArgs& add_list(const char* n, const XrlAtomList& v)   { return add(n, v); }
    XrlArgs& add_binary(const char* n, const std::vector<uint8_t>& v) { return add(n, v); }
    XrlArgs& add_int64(const char* n, int64_t v)             { return add(n, v); }
    XrlArgs& add_uint64(const char* n, uint64_t v)           { return add(n, v); }

    // Typed reads by name: XrlAtomNotFound for an unknown name, BadArgs for
    // a wrong type or an atom without value.
    const int32_t& get_int32(const char* name) const;
    const uint32_t& get_uint32(const char* name) const;
    const bool& get_bool(const char* name) const;
    const IPv4& get_ipv4(const char* name) const;
    const IPv4Net& get_ipv4net(const char* name) const;
    const IPv6& get_ipv6(const char* name) const;
    const IPv6Net& get_ipv6net(const char* name) const;
    const std::string& get_string(const char* name) const;
    const XrlAtomList& get_list(const char* name) const;
    const std::vector<uint8_t>& get_binary(const char* name) const;
    const int64_t& get_int64(const char* name) const;
    const uint64_t& get_uint64(const char* name) const;

    void get(const char* n, int32_t& v) const       { v = get_int32(n); }
    void get(const char* n, uint32_t& v) const      { v = get_uint32(n); }
    void get(const char* n, bool& v) const          { v = get_bool(n); }
    void get(const char* n, IPv4& v) const          { v = get_ipv4(n); }
    void get(const char* n, IPv4Net& v) const       { v = get_ipv4net(n); }
    void get(const char* n, IPv6& v) const          { v = get_ipv6(n); }
    void get(const char* n, IPv6Net& v) const       { v = get_ipv6net(n); }
    void get(const char* n, std::string& v) const   { v = get_string(n); }
    void get(const char* n, XrlAtomList& v) const   { v = get_list(n); }
    void get(const char* n, std::vector<uint8_t>& v) const { v = get_binary(n); }
    void get(const char* n, int64_t& v) const       { v = get_int64(n); }
    void get(const char* n, uint64_t& v) const      { v = get_uint64(n); }

    const XrlAtom& item(const std::string& name) const;   // XrlAtomNotFound
    const XrlAtom* find(const std::string& name) const;   // nullptr if absent
    const XrlAtom* find(const char* name) const;
    bool contains(const std::string& name) const { return find(name) != nullptr; }

    size_t size() const { return _n; }
    bool empty() const { return _n == 0; }
    const XrlAtom& operator[](size_t index) const;         // BadArgs if out of range
    const_iterator begin() const { return _args.begin(); }
    const_iterator end() const { return _args.begin() + _n; }
    void clear() {
        _n = 0;
        if (_args.size() > kSpare)
            drop_spare();
    }

    bool operator==(const XrlArgs& other) const {
        return _n == other._n && std::equal(begin(), end(), other.begin());
    }
    bool operator!=(const XrlArgs& other) const { return !(*this == other); }

    // Atoms' str() joined by '&', e.g. "status:u32=3&reason:txt=Process+running".
    std::string str() const;

private:
    friend bool xrl_args_unpack(const uint8_t*, size_t, XrlArgs&, std::string*,
                                bool*);

    const XrlAtom& typed(const char* name, XrlAtomType type) const;
    [[noreturn]] static void duplicate(const std::string& name);

    // Builds the atom in its place: no copy of it made and destroyed; in
    // an XrlArgs reused per message, an atom left by the last one is
    // filled again instead.
    template <class T>
    XrlArgs& emplace(const char* name, const T& v) {
        if (find(name) != nullptr)
            duplicate(name);
        if (_n < _args.size())
            _args[_n].reset(name, v);
        else
            _args.emplace_back(name, v);
        _n++;
        return *this;
    }
    // Destroys the atoms kept past the live ones beyond kSpare, and gives
    // back the room of a message of very many (past kRoom).
    void drop_spare();

    // [0, _n) are the arguments; the atoms after them are kept from earlier
    // messages (at most kSpare of them once cleared) to be filled again.
    static constexpr size_t kSpare = 16;
    // Room for this many atoms is kept (about 200 KiB); more is given
    // back once a message that needed it is done with.
    static constexpr size_t kRoom = 1024;
    std::vector<XrlAtom> _args;
    size_t _n = 0;
};

#endif // __LIBXIPC_XRL_ARGS_HH__
