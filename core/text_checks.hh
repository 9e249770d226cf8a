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

// True when a word of `text` (words split at blanks and tabs, as the shell
// splits them) begins with '-': the script would take it for an option.
bool has_option_word(const std::string& text);

// True when a component of the path `text` is "..", which climbs out of the
// directory the path seems to be under.
bool has_dot_dot_component(const std::string& text);

// Runs `line` with system(), and tells whether a shell was started at all:
// false, with errno saying why (E2BIG for a line longer than the kernel
// takes, EAGAIN, ENOMEM), when nothing ran. Otherwise errno is left as it
// was before, whatever the command did, and `status` (if given) is set to
// what system() returned.
bool run_command_line(const std::string& line, int* status = nullptr);

#endif  // LOGIN_CORE_TEXT_CHECKS_HH
