// Where the system log goes: the remote host and the local file. The
// switch's scripts do the work; the fields only record the last setting.

#include "core/login_module.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"
#include "core/text_checks.hh"

void
LoginMain::set_syslog_host(const IPv4& host)
{
    _syslog_host = host.str();
    system(c_format("/vela/bin/shell/syslog_host.sh %s",
                    _syslog_host.c_str()).c_str());
}

void
LoginMain::delete_syslog_host()
{
    _syslog_host = "";
    // There is no script to remove the host: the loopback address stands in.
    system("/vela/bin/shell/syslog_host.sh 127.0.0.1");
}

void
LoginMain::set_syslog_file(const string& location)
{
    // The word goes onto the command line as it came: refuse what the shell
    // would read as more than one plain word.
    if (!is_plain_shell_text(location, "._-/")) {
        throw LoginException("login_main.cc", __LINE__,
            "Syslog file location may hold only letters, digits and . _ - /");
    }
    // The root script writes the log where it is told: a path may only name
    // a file under a log directory, and nothing may pass for an option.
    if (location[0] == '-' || has_dot_dot_component(location)
        || (location.find('/') != string::npos
            && location.compare(0, 9, "/tmp/log/") != 0
            && location.compare(0, 9, "/var/log/") != 0)) {
        throw LoginException("login_main.cc", __LINE__,
            "Syslog file location must be a word, or a path under /tmp/log/ or"
            " /var/log/ without '..', and must not begin with '-'");
    }
    if (location == "disk")
        _syslog_file = "/var/log/messages";
    else
        _syslog_file = "/tmp/log/messages";
    string line = c_format("/vela/bin/shell/syslog_file_filename.sh %s",
                           location.c_str());
    if (!run_command_line(line)) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("Syslog file location not handed on: %s",
                                      strerror(errno)));
    }
}
