// The host name: its line in /etc/hosts and the name of the running kernel.
// `_hostname` starts at the default in every run; it only serves to find the
// line the previous call wrote.

#include "core/login_module.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"

#include "core/login_main.hh"
#include "core/text_checks.hh"
#include "system/hosts_file.hh"

namespace {

const char kHosts[] = "/etc/hosts";

}  // namespace

void
LoginMain::set_hostname(const string& hostname)
{
    // The tool would print the current name for an empty one, and take a
    // leading '-' for an option: refuse both before anything is changed.
    if (hostname.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "Host name is an empty string");
    }
    if (hostname[0] == '-') {
        throw LoginException("login_main.cc", __LINE__,
                             "Host name must not begin with '-'");
    }
    // The XRL handler lets only plain bytes through; this is the last guard
    // for the file and the command line, which would end the name there.
    check_no_nul_byte(hostname, "Host name");

    switch (rewrite_hosts_file(kHosts, host_line(_hostname),
                               host_line(hostname))) {
    case HostsRewrite::kReadError:
        throw LoginException("login_main.cc", __LINE__,
                             "Failed to read file: /etc/hosts");
    case HostsRewrite::kWriteError:
        throw LoginException("login_main.cc", __LINE__,
                             "Failed to write file: /etc/hosts");
    case HostsRewrite::kNoRoom:
        throw LoginException("login_main.cc", __LINE__,
                             "No space left on device for /etc/hosts");
    case HostsRewrite::kWritten:
    case HostsRewrite::kNotWritable:
        break;
    }

    _hostname = hostname;
    system(("hostname " + hostname).c_str());

    string error_text = strerror(errno);
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);

    // The tool's exit status says nothing; the kernel's name does.
    char current[256] = "";
    if (gethostname(current, sizeof(current) - 1) != 0
        || hostname != current) {
        throw LoginException("login_main.cc", __LINE__,
                             "The system's host name is not " + hostname);
    }
}
