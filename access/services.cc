// Telnet and SSH service settings: each is handed to a script under
// /vela/bin/shell/ as one command line. The daemon remembers none of them.

#include "core/login_module.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"

#include "core/login_main.hh"
#include "core/text_checks.hh"

namespace {

// Runs the script with its one value and applies the error-text check.
void
run_service_script(const char* script, const string& value)
{
    string command = string(script) + value;
    if (!run_command_line(command))
        throw LoginException("login_main.cc", __LINE__, strerror(errno));

    string error_text = strerror(errno);
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);
}

const char*
bool_text(bool value)
{
    return value ? "true" : "false";
}

// The text values reach the shell unquoted, so that several words stay
// several arguments; a byte the shell would act on (a second command, a
// substitution, a redirection) or any control byte is refused before
// anything runs, and so is a word the script would take for an option.
void
refuse_shell_text(const char* what, const string& value)
{
    string reason;
    if (has_shell_special(value) || value.find('\t') != string::npos)
        reason = string(what) + " must not contain a control character or any of "
            + kShellSpecial;
    else if (has_option_word(value))
        reason = string(what) + " must not have a word beginning with '-'";
    else
        return;
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "login_main.cc", __FUNCTION__);
    xlog_error("LOGIN", where, "%s\n", reason.c_str());
    throw LoginException("login_main.cc", __LINE__, reason);
}

}  // namespace

void
LoginMain::set_telnet_connection_limit(const uint32_t& limit)
{
    std::ostringstream text;
    text << limit;
    run_service_script("/vela/bin/shell/telnet_connection-limit.sh ", text.str());
}

void
LoginMain::set_telnet_disable(const bool& disable)
{
    run_service_script("/vela/bin/shell/telnet_disable.sh ", bool_text(disable));
}

void
LoginMain::set_ssh_root_login(const string& root_login)
{
    refuse_shell_text("SSH root login", root_login);
    run_service_script("/vela/bin/shell/ssh_root-login.sh ", root_login);
}

void
LoginMain::set_ssh_protocol_version(const string& version)
{
    refuse_shell_text("SSH protocol version", version);
    run_service_script("/vela/bin/shell/ssh_protocol-version.sh ", version);
}

void
LoginMain::set_ssh_disable(const bool& disable)
{
    run_service_script("/vela/bin/shell/ssh_disable.sh ", bool_text(disable));
}
