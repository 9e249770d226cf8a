// TACACS+ and local authentication settings: the scripts that take the
// authentication type, the shared key and the on/off state, the two flag
// files read by the TACACS+ client, and the pam_unix lines of common-auth.
//
// Key and type are joined unquoted on to a root shell's command line, so
// besides the blank every character the shell would act on is refused, and
// a word the script would take for an option.

#include "core/login_module.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"
#include "core/safe_file.hh"
#include "core/text_checks.hh"

// Writes "true" or "false", without newline, over the whole of `path`; the
// file is readable by all and writable by root only, never reached through a
// link or in a directory open to others.
static void
write_flag_file(const char* path, bool value, const char* function)
{
    const char* word = value ? "true" : "false";
    int fd = open_safe_file(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        char where[8000];
        snprintf(where, 8000, "+%d %s %s", __LINE__, "login_main.cc",
                 function);
        xlog_warning("LOGIN", where, "Open %s error.", path);
        return;
    }
    ssize_t written = write(fd, word, strlen(word));
    UNUSED(written);
    close(fd);
}

// Runs a script whose status is not looked at; a line that starts no shell
// at all (too long for the kernel) is a failure, not a success.
static void
run_tacacs_script(const string& line, const char* what)
{
    if (!run_command_line(line))
        throw LoginException("login_main.cc", __LINE__,
                             c_format("%s not handed on: %s", what,
                                      strerror(errno)));
}

void
LoginMain::set_local_authentication(const bool& disable)
{
    if (disable)
        system("sed -i 's/\\(.*\\)pam_unix\\(.*\\)/#\\1pam_unix\\2/g' /etc/pam.d/common-auth");
    else
        system("sed -i 's/\\(^#*\\)\\(.*\\)pam_unix\\(.*\\)/\\2pam_unix\\3/g' /etc/pam.d/common-auth");

    string error_text = strerror(errno);
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);
}

void
LoginMain::set_tacacs_disable(const bool& disable)
{
    string word = disable ? "true" : "false";
    system(("/vela/bin/shell/tacacs_disable.sh " + word).c_str());
    if (_tacacs_first_set) {
        _tacacs_first_set = false;
        system("/vela/bin/shell/tacacs_server.sh server=0.0.0.0 ");
    }
}

void
LoginMain::set_tacacs_enable_authorization(const bool& enable)
{
    write_flag_file("/tmp/system/tac_enable_authorization", enable,
                    __FUNCTION__);
}

void
LoginMain::set_tacacs_enable_accounting(const bool& enable)
{
    write_flag_file("/tmp/system/tac_enable_accounting", enable,
                    __FUNCTION__);
}

void
LoginMain::set_tacacs_key(const string& key)
{
    if (key.find(' ') != string::npos)
        throw LoginException("login_main.cc", __LINE__,
                             "Tacacs+ shared key should not have space.");
    if (has_shell_special(key))
        throw LoginException("login_main.cc", __LINE__,
                             "Tacacs+ shared key should not have shell special characters.");
    if (has_option_word(key))
        throw LoginException("login_main.cc", __LINE__,
                             "Tacacs+ shared key should not begin with '-'.");
    run_tacacs_script("/vela/bin/shell/tacacs_key.sh " + key,
                      "Tacacs+ shared key");
}

void
LoginMain::set_tacacs_auth_type(const string& auth_type)
{
    string effective = auth_type == "ascii" ? string("login") : auth_type;
    if (effective.find(' ') != string::npos)
        throw LoginException("login_main.cc", __LINE__,
                             "Tacacs+ auth type should not have space.");
    if (has_shell_special(effective))
        throw LoginException("login_main.cc", __LINE__,
                             "Tacacs+ auth type should not have shell special characters.");
    if (has_option_word(effective))
        throw LoginException("login_main.cc", __LINE__,
                             "Tacacs+ auth type should not begin with '-'.");
    run_tacacs_script("/vela/bin/shell/tacacs_auth_type.sh " + effective,
                      "Tacacs+ auth type");
}
