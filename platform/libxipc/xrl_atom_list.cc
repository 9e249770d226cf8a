#include "libxipc/xrl_atom_list.hh"

#include "libxipc/xrl_atom.hh"

XrlAtomList::XrlAtomList()
{
}

XrlAtomList::XrlAtomList(const std::string& text)
{
    // Parsing lives in XrlAtom, which knows the list's text form.
    XrlAtom atom((":list=" + text).c_str());
    *this = atom.list();
}

XrlAtomList::XrlAtomList(const XrlAtomList& other)
    : _list(other._list)
{
}

XrlAtomList&
XrlAtomList::operator=(const XrlAtomList& other)
{
    _list = other._list;
    return *this;
}

XrlAtomList::~XrlAtomList()
{
}

void
XrlAtomList::check_type(const XrlAtom& atom) const
{
    if (!atom.has_data())
        xorp_throw(BadAtomType, "list item without value");
    if (atom.type() == xrlatom_list)
        xorp_throw(BadAtomType, "a list cannot hold a list");
    if (!_list.empty() && atom.type() != _list.front().type()) {
        xorp_throw(BadAtomType, std::string("list of ")
                   + _list.front().type_name() + " cannot take "
                   + atom.type_name());
    }
}

void
XrlAtomList::append(const XrlAtom& atom)
{
    check_type(atom);
    _list.push_back(atom);
}

void
XrlAtomList::prepend(const XrlAtom& atom)
{
    check_type(atom);
    _list.insert(_list.begin(), atom);
}

const XrlAtom&
XrlAtomList::get(size_t index) const
{
    if (index >= _list.size()) {
        xorp_throw(InvalidIndex, "index " + std::to_string(index)
                   + " of a list of " + std::to_string(_list.size()));
    }
    return _list[index];
}

void
XrlAtomList::remove(size_t index)
{
    get(index);
    _list.erase(_list.begin() + index);
}

size_t
XrlAtomList::size() const
{
    return _list.size();
}

bool
XrlAtomList::operator==(const XrlAtomList& other) const
{
    return _list == other._list;
}

std::string
XrlAtomList::str() const
{
    std::string s;
    for (size_t i = 0; i < _list.size(); i++) {
        if (i)
            s += ",";
        s += _list[i].str();
    }
    return s;
}
