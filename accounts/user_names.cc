// Account names and look-ups: the rule for a new user name, the look-up of a
// user in the user database, membership of the "xorp" group, and the reader
// that takes one line at a time from a file of any line length.

#include "core/login_module.h"

#include <grp.h>
#include <pwd.h>
#include <sys/types.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"
#include "core/login_exception.hh"
#include "core/text_checks.hh"

namespace {

const size_t kMaxUserNameLength = 32;
const char kXorpGroup[] = "xorp";
const unsigned kLineGrowth = 256;

// Byte classes by value, so that no locale can widen them.
bool is_ascii_letter(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_ascii_digit(unsigned char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

bool LoginMain::is_valid_user_name(const char* name) {
    if (name == nullptr || name[0] == '\0')
        return false;
    unsigned char first = static_cast<unsigned char>(name[0]);
    if (!is_ascii_letter(first) && first != '_')
        return false;
    for (const char* p = name + 1; *p != '\0'; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        if (is_ascii_letter(c) || is_ascii_digit(c) || c == '_' || c == '-')
            continue;
        // '$' closes a name (machine accounts) and may stand only last.
        if (c == '$' && p[1] == '\0')
            continue;
        return false;
    }
    return true;
}

void LoginMain::validate_user_name(const std::string& name) {
    if (name.size() > kMaxUserNameLength) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("User name is too long, max is %d",
                                      static_cast<int>(kMaxUserNameLength)));
    }
    // The character test stops at a NUL byte: look at every byte first.
    if (has_nul_byte(name)
        || !is_valid_user_name(name.c_str()))
        throw LoginException("login_main.cc", __LINE__, "User name is invalid");
}

bool LoginMain::user_exists(const std::string& name) {
    setpwent();
    for (struct passwd* pw = getpwent(); pw != nullptr; pw = getpwent()) {
        if (name == pw->pw_name) {
            endpwent();
            return true;
        }
    }
    endpwent();
    return false;
}

bool LoginMain::get_user_gid(const std::string& name, uint32_t& gid) {
    setpwent();
    for (struct passwd* pw = getpwent(); pw != nullptr; pw = getpwent()) {
        if (name == pw->pw_name) {
            gid = pw->pw_gid;
            endpwent();
            return true;
        }
    }
    endpwent();
    return false;
}

bool LoginMain::is_user_in_xorp_group(const std::string& name) {
    uint32_t gid = 0;
    bool found = get_user_gid(name, gid);

    struct group* gr = getgrnam(kXorpGroup);
    if (gr == nullptr) {
        char prefix[8000];
        snprintf(prefix, sizeof(prefix), "+%d %s %s", __LINE__,
                 "login_main.cc", __func__);
        xlog_error("LOGIN", prefix,
                   "Group \"xorp\" does not exist on this system.");
        return false;
    }
    if (found && gr->gr_gid == gid)
        return true;
    for (char** member = gr->gr_mem; member != nullptr && *member != nullptr;
         ++member) {
        if (name == *member)
            return true;
    }
    return false;
}

char* LoginMain::read_line(FILE* stream, unsigned& length) {
    char* buffer = nullptr;
    unsigned capacity = 0;
    unsigned count = 0;

    for (;;) {
        int c = getc(stream);
        if (c == EOF)
            break;
        if (count == capacity) {
            // Fixed steps: shadow lines are short, and the step bounds waste.
            char* grown = static_cast<char*>(realloc(buffer,
                                                     capacity + kLineGrowth));
            if (grown == nullptr) {
                // Out of memory. The stream is then neither at its end nor
                // in error, which is how a caller can tell this null apart.
                free(buffer);
                length = 0;
                return nullptr;
            }
            buffer = grown;
            capacity += kLineGrowth;
        }
        buffer[count++] = static_cast<char>(c);
        if (c == '\n' || c == '\0')
            break;
    }

    length = count;
    if (buffer == nullptr)
        return nullptr;
    char* exact = static_cast<char*>(realloc(buffer, count + 1));
    if (exact == nullptr) {
        if (count == capacity) {
            // The stream may be at its end now; step back over the line so
            // that a caller still tells this null from the end of the file.
            fseek(stream, -static_cast<long>(count), SEEK_CUR);
            free(buffer);
            length = 0;
            return nullptr;
        }
        exact = buffer;  // A failed shrink leaves the old block, with room.
    }
    exact[count] = '\0';
    return exact;
}
