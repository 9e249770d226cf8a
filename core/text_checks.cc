#include "core/login_module.h"

#include "core/text_checks.hh"

#include <cerrno>
#include <cstdlib>

#include "libxorp/xorp.h"
#include "libxorp/c_format.hh"

#include "core/login_exception.hh"

namespace {
const size_t kLongestArgument = 32 * 4096;  // MAX_ARG_STRLEN, with its NUL
}

void check_no_nul_byte(const std::string& text, const char* what)
{
    if (has_nul_byte(text)) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("%s must not contain a NUL byte", what));
    }
}

bool has_option_word(const std::string& text)
{
    for (size_t i = 0; i < text.size(); i++) {
        bool word_start = i == 0 || text[i - 1] == ' ' || text[i - 1] == '\t';
        if (word_start && text[i] == '-')
            return true;
    }
    return false;
}

bool has_dot_dot_component(const std::string& text)
{
    return ("/" + text + "/").find("/../") != std::string::npos;
}

bool run_command_line(const std::string& line, int* status)
{
    // The line is one argument of "sh -c": the kernel takes none longer
    // than 32 pages. Refused here too, since an emulator's fork hides the
    // failed exec from system().
    if (line.size() >= kLongestArgument) {
        errno = E2BIG;
        return false;
    }
    const int saved_errno = errno;
    errno = 0;
    int result = system(line.c_str());
    if (status != nullptr)
        *status = result;
    // A shell that can't be started looks like one that exits with 127,
    // but only then is errno set.
    if (result == -1 || (result == 127 << 8 && errno != 0))
        return false;
    errno = saved_errno;
    return true;
}
