// Escaping of atom values in the textual XRL form.

#ifndef __LIBXIPC_XRL_ATOM_ENCODING_HH__
#define __LIBXIPC_XRL_ATOM_ENCODING_HH__

#include "libxorp/xorp.h"

// Space becomes '+'; "[]&=+%$,;{}#", NUL, control characters and bytes of
// 0x80 and above become %XX with uppercase hex; everything else is kept.
std::string xrlatom_encode_value(const char* data, size_t len);
std::string xrlatom_encode_value(const std::string& value);

// Reverses the encoding: '+' is a space, %XX is taken in either case, any
// other byte stands for itself. Returns false (out undefined) on a bad or
// truncated '%' escape.
bool xrlatom_decode_value(const char* data, size_t len, std::string& out);
bool xrlatom_decode_value(const std::string& text, std::string& out);

#endif // __LIBXIPC_XRL_ATOM_ENCODING_HH__
