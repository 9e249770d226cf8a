// -*- c++ -*-
// Tiny helpers shared by all code (pulled in by libxorp/xorp.h).
#ifndef LIBXORP_UTILITY_H
#define LIBXORP_UTILITY_H

#define UNUSED(x) ((void)(x))
#define XORP_UINT_CAST(x) ((unsigned int)(x))
#define XORP_INT_CAST(x) ((int)(x))
#define x_static_assert(a) static_assert(a, #a)

inline const char* bool_c_str(int v) { return v ? "true" : "false"; }

#endif  // LIBXORP_UTILITY_H
