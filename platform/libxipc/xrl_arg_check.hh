// Strict matching of XrlArgs against the arguments an interface declares;
// used by generated handlers and client stubs.

#ifndef __LIBXIPC_XRL_ARG_CHECK_HH__
#define __LIBXIPC_XRL_ARG_CHECK_HH__

#include "libxorp/xorp.h"
#include "libxipc/xrl_args.hh"
#include "libxipc/xrl_atom.hh"

struct XrlArgSpec {
    const char* name;
    XrlAtomType type;
    XrlAtomType item_type;      // lists: required item type, or xrlatom_no_type
};

// "" when `args` holds exactly the declared arguments (in any order), each
// with its type and a value. Otherwise a note such as
// "expected hostname:txt; missing hostname".
std::string xrl_check_args(const XrlArgs& args, const XrlArgSpec* spec,
                           size_t count);

// "a:txt & b:list<u32>", or "no arguments".
std::string xrl_spec_str(const XrlArgSpec* spec, size_t count);

#endif // __LIBXIPC_XRL_ARG_CHECK_HH__
