// Connection and rate limits on the telnet (23) and SSH (22) ports.
//
// The daemon remembers what it inserted: a rule is deleted by repeating its
// full text, limit included. Inserts go to the head of INPUT, so the command
// run last ends on top. A limit the firewall will not take never costs the
// limit in force: it is refused before anything runs, or, when the tool
// refuses the new rule, the old one is put back and the call fails (at
// start-up, with nothing to put back, the daemon does not start).

#include "core/login_module.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "access/firewall_commands.hh"
#include "core/login_main.hh"

namespace {

// The highest --hitcount the kernel's recent match takes (it keeps that
// many hits per source); older kernels take less, which the put-back covers.
const uint32_t kMaxHitcount = 65535;

struct RateRules {
    const char* what;           // for the reasons
    const char* delete_update;  // %u: the hit count
    const char* delete_set;
    const char* insert_set;
    const char* insert_update;  // %u: the hit count
};

const RateRules kTelnetRate = {
    "telnet rate limit",
    "iptables -D INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount %u --rttl --name TELNET -j DROP",
    "iptables -D INPUT -p tcp --dport 23 -m state --state NEW -m recent --set --name TELNET",
    "iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --set --name TELNET",
    "iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount %u --rttl --name TELNET -j DROP",
};

const RateRules kSshRate = {
    "SSH rate limit",
    "iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount %u --rttl --name SSH -j DROP",
    "iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH",
    "iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH",
    "iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount %u --rttl --name SSH -j DROP",
};

const char kDeleteConnection[] =
    "iptables -D INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above %u -j REJECT";
const char kInsertConnection[] =
    "iptables -I INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above %u -j REJECT";

void
check_errno_text()
{
    string error_text = strerror(errno);
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);
}

// The reason for a refused insert, logged at once; empty when the insert
// went in.
string
refusal(const char* what, uint32_t limit, int status, bool had_old, uint32_t old)
{
    if (command_succeeded(status))
        return "";
    string reason = c_format("iptables refused the %s %u (exit status %d)", what,
                             limit, command_exit_status(status));
    if (had_old)
        reason += c_format(", the limit %u stays", old);
    log_access_error(__FUNCTION__, __LINE__, reason);
    return reason;
}

void
set_rate_limit(const RateRules& rules, uint32_t& remembered, bool& installed,
               uint32_t limit)
{
    if (limit > kMaxHitcount) {
        string reason = c_format("The %s %u is above %u, the highest hit count the firewall takes",
                                 rules.what, limit, kMaxHitcount);
        log_access_error(__FUNCTION__, __LINE__, reason);
        throw LoginException("login_main.cc", __LINE__, reason);
    }
    const bool had_old = installed;
    const uint32_t old = remembered;
    if (installed) {
        run_firewall_command(c_format(rules.delete_update, remembered));
        run_firewall_command(rules.delete_set);
    }
    remembered = limit;
    installed = true;
    run_firewall_command(rules.insert_set);
    int status = run_firewall_command(c_format(rules.insert_update, limit));
    check_errno_text();

    string reason = refusal(rules.what, limit, status, had_old, old);
    if (reason.empty())
        return;
    // The set rule is in place; the old update rule goes back above it.
    if (had_old) {
        run_firewall_command(c_format(rules.insert_update, old));
        remembered = old;
    }
    throw LoginException("login_main.cc", __LINE__, reason);
}

}  // namespace

void
LoginMain::set_telnet_rate_limit(const uint32_t& limit)
{
    set_rate_limit(kTelnetRate, _telnet_rate_limit, _telnet_rate_limit_installed, limit);
}

void
LoginMain::set_ssh_rate_limit(const uint32_t& limit)
{
    set_rate_limit(kSshRate, _ssh_rate_limit, _ssh_rate_limit_installed, limit);
}

void
LoginMain::set_ssh_connection_limit(const uint32_t& limit)
{
    const bool had_old = _ssh_connection_limit_installed;
    const uint32_t old = _ssh_connection_limit;
    if (_ssh_connection_limit_installed)
        run_firewall_command(c_format(kDeleteConnection, _ssh_connection_limit));
    _ssh_connection_limit = limit;
    _ssh_connection_limit_installed = true;
    int status = run_firewall_command(c_format(kInsertConnection, limit));
    string reason = refusal("SSH connection limit", limit, status, had_old, old);
    if (!reason.empty() && had_old) {
        run_firewall_command(c_format(kInsertConnection, old));
        _ssh_connection_limit = old;
    }


    // Puts the SSH pair back above the connection rule; raises on its own.
    set_ssh_rate_limit(_ssh_rate_limit);

    string error_text = strerror(errno);
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "login_main.cc",
             __FUNCTION__);
    xlog_info("LOGIN", where, "%s\n", error_text.c_str());
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);
    if (!reason.empty())
        throw LoginException("login_main.cc", __LINE__, reason);
}
