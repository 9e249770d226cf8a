// Checks for texts that come from outside and go on to a command line or a
// file. Both would end such a text at a NUL byte, silently, so every text is
// looked at on all its bytes.

#ifndef LOGIN_CORE_TEXT_CHECKS_HH
#define LOGIN_CORE_TEXT_CHECKS_HH

#include <cstring>
#include <string>

// True when `text` holds a NUL byte anywhere.
inline bool has_nul_byte(const std::string& text)
{
    return text.find('\0') != std::string::npos;
}

// Raises LoginException with "<what> must not contain a NUL byte" if `text`
// holds one anywhere.
void check_no_nul_byte(const std::string& text, const char* what);

// True when every byte of `text` is an ASCII letter or digit or one of
// `allowed`: none of them means anything to the shell. A NUL byte never is.
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

// The bytes a shell reads as syntax or expands.
inline constexpr char kShellSpecial[] = "`$\\\"'|&;<>()*?[]{}~#!";

// True when `text` holds one of kShellSpecial or a control character other
// than the tab (a NUL or a newline among them). A text without any can go
// onto a command line unquoted: the tab, like the blank, only splits words.
inline bool has_shell_special(const std::string& text)
{
    for (unsigned char c : text) {
        if ((c < 0x20 && c != '\t') || c == 0x7f
            || strchr(kShellSpecial, c) != nullptr)
            return true;
    }
    return false;
}

#endif  // LOGIN_CORE_TEXT_CHECKS_HH
