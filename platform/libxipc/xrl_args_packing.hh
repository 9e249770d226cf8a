// XORP's packed form of XrlArgs, used between processes (STCP): a 4-byte
// big-endian header (top byte 0xCC, low 24 bits the atom count), then the
// packed atoms back to back.  A request carries the resolved XRL as an extra
// first atom, unnamed text, counted in the header.

#ifndef __LIBXIPC_XRL_ARGS_PACKING_HH__
#define __LIBXIPC_XRL_ARGS_PACKING_HH__

#include <string>

#include "libxipc/xrl_args.hh"

// Appends `args`, preceded by `head` when it is not null.
void xrl_args_pack(std::string& out, const XrlArgs& args,
		   const std::string* head = NULL);

// Reads [p, p + n) whole: false when it is not exactly one packed XrlArgs
// of atoms with distinct names (the first atom going to `head`, which must
// then be unnamed text, when `head` is not null).  A `head` that holds the
// same text already is left as it is, and *head_kept (when given) says so.
bool xrl_args_unpack(const uint8_t* p, size_t n, XrlArgs& args,
		     std::string* head = NULL, bool* head_kept = NULL);

#endif // __LIBXIPC_XRL_ARGS_PACKING_HH__
