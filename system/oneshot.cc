// Operations that do one thing when asked and keep nothing: reboot, clearing
// the ARP and IPv6 neighbour tables, and two that do nothing at all.

#include "core/login_module.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"

#include "core/login_main.hh"
#include "core/text_checks.hh"

namespace {

// Logs why `function` ran nothing.
void warn_refused(const char* function, const char* why)
{
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "login_main.cc", function);
    xlog_warning("LOGIN", where, "%s refused, %s", function, why);
}

// Runs `command`, followed by one blank and `text` from position `skip` on
// when `text` is longer than that. The sender's command words fill the
// first `skip` characters and are not passed on. A text with a NUL byte
// anywhere, or a passed-on part the shell would read as more than plain
// words, runs nothing and gives -1.
int run_with_tail(const char* command, const string& text, size_t skip,
                  const char* function)
{
    if (has_nul_byte(text)) {
        warn_refused(function, "the text must not contain a NUL byte");
        return -1;
    }
    string line = command;
    if (text.size() > skip) {
        string tail = text.substr(skip);
        if (!is_plain_shell_text(tail, " .:/_-,")) {
            warn_refused(function, "only letters, digits, blanks and "
                         ". : / _ - , may follow the command words");
            return -1;
        }
        if (has_option_word(tail)) {
            warn_refused(function, "no word after the command words may "
                         "begin with '-'");
            return -1;
        }
        line += " " + tail;
    }
    // A line too long for the kernel starts nothing; that is said, not hidden.
    int status = -1;
    if (!run_command_line(line, &status)) {
        warn_refused(function, (string("no shell started, ")
                                + strerror(errno)).c_str());
        return -1;
    }
    return status;
}

}  // namespace

void
LoginMain::reboot_system()
{
    system("/vela/bin/shell/reboot.sh");

    string error_text = strerror(errno);
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);
}

int
LoginMain::clear_arp(const string& text)
{
    return run_with_tail("/vela/bin/shell/clear_arp.sh", text, 9,
                         "clear_arp");
}

int
LoginMain::clear_neighbours(const string& text)
{
    return run_with_tail("/vela/bin/shell/clear_neigh6.sh", text, 21,
                         "clear_neighbours");
}

void
LoginMain::noop_operation_a()
{
}

void
LoginMain::noop_operation_b()
{
}
