// The remote configuration agent, started and killed by name, and the
// closing rule of port 8080 that goes with it. The web access list
// (access_lists.cc) opens that port to its sources.

#include "core/login_module.h"

#include <cstdlib>

#include "libxorp/xorp.h"

#include "access/access_lists.hh"
#include "core/login_main.hh"

void
LoginMain::enable_remote_config()
{
    system("pkill -9 vela_sh_remote");
    // Only the agent's standard output is kept; the log starts afresh.
    system((string("/vela/bin/vela_sh_remote") + " > " + "/tmp/log/remote_config.log"
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
