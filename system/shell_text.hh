// A test for texts that go onto a shell command line unquoted.

#ifndef LOGIN_SYSTEM_SHELL_TEXT_HH
#define LOGIN_SYSTEM_SHELL_TEXT_HH

#include <cstring>
#include <string>

// True when every byte of `text` is an ASCII letter or digit or one of
// `allowed`: none of them means anything to the shell.
inline bool is_plain_shell_text(const std::string& text, const char* allowed)
{
    for (unsigned char c : text) {
        bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')
            || (c >= '0' && c <= '9') || (c != '\0' && strchr(allowed, c));
        if (!plain)
            return false;
    }
    return true;
}

#endif  // LOGIN_SYSTEM_SHELL_TEXT_HH
