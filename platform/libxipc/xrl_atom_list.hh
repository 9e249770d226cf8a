// An ordered list of unnamed atoms that all have the same type.

#ifndef __LIBXIPC_XRL_ATOM_LIST_HH__
#define __LIBXIPC_XRL_ATOM_LIST_HH__

#include "libxorp/xorp.h"
#include "libxorp/exceptions.hh"

class XrlAtom;

class XrlAtomList {
public:
    struct BadAtomType : public XorpReasonedException {
        BadAtomType(const char* file, size_t line, const std::string& why = "")
            : XorpReasonedException("XrlAtomList::BadAtomType", file, line, why) {}
    };
    struct InvalidIndex : public XorpReasonedException {
        InvalidIndex(const char* file, size_t line, const std::string& why = "")
            : XorpReasonedException("XrlAtomList::InvalidIndex", file, line, why) {}
    };

    XrlAtomList();
    // Parses the list's textual value, e.g. ":u32=1,:u32=2"; throws InvalidString.
    explicit XrlAtomList(const std::string& text);
    XrlAtomList(const XrlAtomList& other);
    XrlAtomList& operator=(const XrlAtomList& other);
    ~XrlAtomList();

    // Both throw BadAtomType if the atom's type differs from the first
    // element's, has no value, or is itself a list.
    void append(const XrlAtom& atom);
    void prepend(const XrlAtom& atom);

    const XrlAtom& get(size_t index) const;        // throws InvalidIndex
    void remove(size_t index);                     // throws InvalidIndex
    size_t size() const;
    bool empty() const { return size() == 0; }

    bool operator==(const XrlAtomList& other) const;
    bool operator!=(const XrlAtomList& other) const { return !(*this == other); }

    // Items' str() joined by ',', e.g. ":u32=1,:u32=2".
    std::string str() const;

private:
    void check_type(const XrlAtom& atom) const;

    std::vector<XrlAtom> _list;
};

#endif // __LIBXIPC_XRL_ATOM_LIST_HH__
