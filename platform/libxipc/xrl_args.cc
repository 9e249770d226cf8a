#include "libxipc/xrl_args.hh"

#include <unordered_set>

XrlArgs::XrlArgs(const char* text)
{
    std::string s(text);
    if (s.empty())
        return;
    // Names seen so far: add() looks names up one by one, which made a
    // message of many thousand arguments take seconds to read.
    std::unordered_set<std::string> names;
    size_t start = 0;
    for (;;) {
        size_t amp = s.find('&', start);
        std::string item = s.substr(start, amp == std::string::npos
                                    ? std::string::npos : amp - start);
        if (item.empty())
            xorp_throw(InvalidString, "empty argument in \"" + s + "\"");
        XrlAtom atom(item.c_str());
        if (!names.insert(atom.name()).second)
            xorp_throw(InvalidString, "duplicate argument \"" + atom.name() + "\"");
        _args.push_back(atom);
        if (amp == std::string::npos)
            break;
        start = amp + 1;
    }
    _n = _args.size();
}

XrlArgs&
XrlArgs::operator=(const XrlArgs& o)
{
    if (this != &o) {
        _args.assign(o.begin(), o.end());
        _n = o._n;
    }
    return *this;
}

XrlArgs&
XrlArgs::operator=(XrlArgs&& o) noexcept
{
    if (this != &o) {
        _args = std::move(o._args);
        _n = o._n;
        o._args.clear();
        o._n = 0;
    }
    return *this;
}

void
XrlArgs::drop_spare()
{
    size_t keep = std::max(_n, kSpare);
    if (_args.size() > keep)
        _args.erase(_args.begin() + keep, _args.end());
    if (_args.capacity() > std::max(keep, kRoom))
        std::vector<XrlAtom>(std::make_move_iterator(_args.begin()),
                             std::make_move_iterator(_args.end())).swap(_args);
}

XrlArgs&
XrlArgs::add(const XrlAtom& atom)
{
    return add(XrlAtom(atom));
}

XrlArgs&
XrlArgs::add(XrlAtom&& atom)
{
    if (find(atom.name()) != nullptr)
        duplicate(atom.name());
    if (_n < _args.size())
        _args[_n] = std::move(atom);
    else
        _args.push_back(std::move(atom));
    _n++;
    return *this;
}

void
XrlArgs::duplicate(const std::string& name)
{
    xorp_throw(XrlAtomFound, "duplicate argument \"" + name + "\"");
}

const XrlAtom*
XrlArgs::find(const char* name) const
{
    for (size_t i = 0; i < _n; i++) {
        if (_args[i].named(name))
            return &_args[i];
    }
    return nullptr;
}

const XrlAtom*
XrlArgs::find(const std::string& name) const
{
    for (const XrlAtom& a : *this) {
        if (a.name() == name)
            return &a;
    }
    return nullptr;
}

const XrlAtom&
XrlArgs::item(const std::string& name) const
{
    const XrlAtom* a = find(name);
    if (a == nullptr)
        xorp_throw(XrlAtomNotFound, "no argument \"" + name + "\"");
    return *a;
}

const XrlAtom&
XrlArgs::operator[](size_t index) const
{
    if (index >= _n)
        xorp_throw(BadArgs, "argument index " + std::to_string(index)
                   + " out of range");
    return _args[index];
}

const XrlAtom&
XrlArgs::typed(const char* name, XrlAtomType type) const
{
    const XrlAtom& a = item(name);
    if (a.type() != type || !a.has_data()) {
        xorp_throw(BadArgs, std::string("argument \"") + name + "\" is "
                   + a.type_name() + (a.has_data() ? "" : " without value")
                   + ", expected " + xrlatom_type_name(type));
    }
    return a;
}

#define XRL_ARGS_GETTER(T, fn, tag, accessor)           \
    const T& XrlArgs::fn(const char* name) const        \
    {                                                   \
        return typed(name, tag).accessor();             \
    }

XRL_ARGS_GETTER(int32_t, get_int32, xrlatom_int32, int32)
XRL_ARGS_GETTER(uint32_t, get_uint32, xrlatom_uint32, uint32)
XRL_ARGS_GETTER(bool, get_bool, xrlatom_boolean, boolean)
XRL_ARGS_GETTER(IPv4, get_ipv4, xrlatom_ipv4, ipv4)
XRL_ARGS_GETTER(IPv4Net, get_ipv4net, xrlatom_ipv4net, ipv4net)
XRL_ARGS_GETTER(IPv6, get_ipv6, xrlatom_ipv6, ipv6)
XRL_ARGS_GETTER(IPv6Net, get_ipv6net, xrlatom_ipv6net, ipv6net)
XRL_ARGS_GETTER(std::string, get_string, xrlatom_text, text)
XRL_ARGS_GETTER(XrlAtomList, get_list, xrlatom_list, list)
XRL_ARGS_GETTER(std::vector<uint8_t>, get_binary, xrlatom_binary, binary)
XRL_ARGS_GETTER(int64_t, get_int64, xrlatom_int64, int64)
XRL_ARGS_GETTER(uint64_t, get_uint64, xrlatom_uint64, uint64)

#undef XRL_ARGS_GETTER

std::string
XrlArgs::str() const
{
    std::string s;
    for (size_t i = 0; i < _n; i++) {
        if (i)
            s += "&";
        s += _args[i].str();
    }
    return s;
}
