#include "core/login_module.h"

#include "access/firewall_commands.hh"

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"

int
run_firewall_command(const std::string& command)
{
    return system(command.c_str());
}

bool
command_succeeded(int status)
{
    return command_exit_status(status) == 0;
}

int
command_exit_status(int status)
{
    if (status == -1 || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

void
log_access_error(const char* function, int line, const std::string& reason)
{
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", line, "login_main.cc", function);
    xlog_error("LOGIN", where, "%s\n", reason.c_str());
}
