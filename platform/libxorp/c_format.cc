#include "libxorp/c_format.hh"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Counts the arguments that printf would take for `fmt`; -1 if it holds %n.
int count_arguments(const char* fmt)
{
    int n = 0;
    for (const char* p = fmt; *p != '\0'; p++) {
        if (*p != '%')
            continue;
        p++;
        if (*p == '%')
            continue;
        if (*p == '\0')
            break;
        // flags, field width, precision and length modifiers
        for (; *p != '\0' && strchr("-+ #0'", *p) != nullptr; p++) {
        }
        for (; *p != '\0' && (*p == '*' || (*p >= '0' && *p <= '9')); p++) {
            if (*p == '*')
                n++;
        }
        if (*p == '.') {
            for (p++; *p != '\0' && (*p == '*' || (*p >= '0' && *p <= '9')); p++) {
                if (*p == '*')
                    n++;
            }
        }
        for (; *p != '\0' && strchr("hlLqjzt", *p) != nullptr; p++) {
        }
        if (*p == '\0')
            break;
        if (*p == 'n')
            return -1;
        n++;
    }
    return n;
}

}  // namespace

void c_format_validate(const char* fmt, int n)
{
    int expected = count_arguments(fmt);
    if (expected < 0) {
        fprintf(stderr, "%%n detected in c_format()\n");
        abort();
    }
    if (expected != n) {
        fprintf(stderr,
                "c_format() argument count mismatch: format \"%s\" takes %d, %d given\n",
                fmt, expected, n);
        abort();
    }
}

std::string do_c_format(const char* fmt, ...)
{
    char small[1024];
    va_list ap;
    va_start(ap, fmt);
    int len = vsnprintf(small, sizeof(small), fmt, ap);
    va_end(ap);
    if (len < 0)
        return std::string();
    if (static_cast<size_t>(len) < sizeof(small))
        return std::string(small, len);

    // Too long for the stack buffer: format again into one of the right size.
    std::vector<char> big(static_cast<size_t>(len) + 1);
    va_start(ap, fmt);
    vsnprintf(big.data(), big.size(), fmt, ap);
    va_end(ap);
    return std::string(big.data(), len);
}
