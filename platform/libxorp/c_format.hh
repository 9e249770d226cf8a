// -*- c++ -*-
// c_format(fmt, args...): printf-style formatting into a std::string. The
// number of arguments is checked against the conversions of `fmt` at run time
// (a mismatch aborts, as in XORP); -Wformat checks the types at compile time.
// Pass .c_str() for strings.
#ifndef LIBXORP_C_FORMAT_HH
#define LIBXORP_C_FORMAT_HH

#include <string>

template <class... A>
inline int arg_count(const A&...)
{
    return static_cast<int>(sizeof...(A));
}

// Aborts with a message on stderr if `fmt` does not take exactly `n`
// arguments (`*` takes one more, `%%` none) or if it holds %n.
void c_format_validate(const char* fmt, int n);

std::string do_c_format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

#define c_format(format, ...) \
    (c_format_validate(format, arg_count(__VA_ARGS__)), do_c_format(format, ##__VA_ARGS__))

#endif  // LIBXORP_C_FORMAT_HH
