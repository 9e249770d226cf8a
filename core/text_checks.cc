#include "core/login_module.h"

#include "core/text_checks.hh"

#include "libxorp/xorp.h"
#include "libxorp/c_format.hh"

#include "core/login_exception.hh"

void check_no_nul_byte(const std::string& text, const char* what)
{
    if (has_nul_byte(text)) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("%s must not contain a NUL byte", what));
    }
}
