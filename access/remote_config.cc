// The remote configuration agent, started and killed by name, and the
// closing rule of port 8080 that goes with it. The web access list
// (access_lists.cc) opens that port to its sources.

#include "core/login_module.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "access/access_lists.hh"
#include "core/login_main.hh"
#include "core/safe_file.hh"

namespace {

const char kAgentLog[] = "/tmp/log/remote_config.log";

// The shell's redirect truncates the log as root and follows links: it may
// only meet a regular file of root's, readable by all, in a directory closed
// to others. Made so here (created if missing), or the agent is not started.
void prepare_agent_log()
{
    int fd = open_safe_file(kAgentLog, O_WRONLY | O_CREAT, 0644);
    if (fd >= 0) {
        close(fd);
        return;
    }
    string reason = c_format("Agent log %s not safe to write: %s", kAgentLog,
                             strerror(errno));
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "login_main.cc",
             "enable_remote_config");
    xlog_warning("LOGIN", where, "%s", reason.c_str());
    throw LoginException("login_main.cc", __LINE__, reason);
}

}  // namespace

void
LoginMain::enable_remote_config()
{
    prepare_agent_log();
    system("pkill -9 vela_sh_remote");
    // Only the agent's standard output is kept; the log starts afresh.
    system((string("/vela/bin/vela_sh_remote") + " > " + kAgentLog
            + " &").c_str());
    system("iptables -A INPUT -p tcp --dport 8080 -j DROP");
}

void
LoginMain::disable_remote_config()
{
    system("pkill -9 vela_sh_remote");
    delete_web_access_accepts(_web_access_list);
    system("iptables -D INPUT -p tcp --dport 8080 -j DROP");
}
