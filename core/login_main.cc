// LoginMain: construction, and the operations that belong to the daemon as a
// whole (running state, the daemon's own logging level).

#include "core/login_module.h"

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"

#include "auth/tac_live_pass.hh"
#include "core/login_main.hh"

LoginMain::LoginMain(XrlStdRouter& router)
    : _is_running(true),
      _xrl_router(router),
      _syslog_file("/tmp/log/messages"),
      _syslog_host(),
      _tacacs_live_changed(true),
      _tacacs_first_set(true),
      _tac_pass_again(false),
      // Written by set_inband_enable before anything reads it.
      _inband_enabled(false),
      _ssh_connection_limit(15),
      _ssh_rate_limit(20),
      _ssh_connection_limit_installed(false),
      _ssh_rate_limit_installed(false),
      _telnet_rate_limit(20),
      _telnet_rate_limit_installed(false)
{
    _hostname = "Tessera";

    // The limits hold from start-up on. The order is fixed: the SSH pair ends
    // above the SSH connection rule, and the telnet pair above both.
    set_ssh_rate_limit(20);
    set_ssh_connection_limit(15);
    set_telnet_rate_limit(20);
}

// Here, where the pass's class is complete; a pass under way is killed.
LoginMain::~LoginMain() = default;

void
LoginMain::shutdown()
{
    _is_running = false;
}

bool
LoginMain::set_logging_level(const string& level)
{
    static const char* const words[] = {
        "fatal", "error", "warning", "info", "trace"
    };
    int number = 6;     // any other word enables every level
    for (int i = 0; i < 5; i++) {
        if (level == words[i]) {
            number = i;
            break;
        }
    }
    for (int i = 0; i <= number; i++)
        xlog_enable(static_cast<xlog_level_t>(i));
    for (int i = number + 1; i <= 4; i++)
        xlog_disable(static_cast<xlog_level_t>(i));
    return true;
}

bool
LoginMain::get_logging_level(string& level)
{
    // Level 0 cannot be disabled, so it is not asked about.
    if (xlog_get_level_enabled(4))
        level = "trace";
    else if (xlog_get_level_enabled(3))
        level = "info";
    else if (xlog_get_level_enabled(2))
        level = "warning";
    else if (xlog_get_level_enabled(1))
        level = "error";
    else
        level = "fatal";
    return true;
}
