// Connection and rate limits on the telnet (23) and SSH (22) ports.
//
// The daemon remembers what it inserted: a rule is deleted by repeating its
// full text, limit included. Inserts go to the head of INPUT, so the command
// run last ends on top.

#include "core/login_module.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"

void
LoginMain::set_telnet_rate_limit(const uint32_t& limit)
{
    if (_telnet_rate_limit_installed) {
        system(c_format("iptables -D INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount %d --rttl --name TELNET -j DROP",
                        _telnet_rate_limit).c_str());
        system("iptables -D INPUT -p tcp --dport 23 -m state --state NEW -m recent --set --name TELNET");
    }
    _telnet_rate_limit = limit;
    _telnet_rate_limit_installed = true;
    system("iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --set --name TELNET");
    system(c_format("iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount %d --rttl --name TELNET -j DROP",
                    limit).c_str());

    string error_text = strerror(errno);
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);
}

void
LoginMain::set_ssh_rate_limit(const uint32_t& limit)
{
    if (_ssh_rate_limit_installed) {
        system(c_format("iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount %d --rttl --name SSH -j DROP",
                        _ssh_rate_limit).c_str());
        system("iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH");
    }
    _ssh_rate_limit = limit;
    _ssh_rate_limit_installed = true;
    system("iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH");
    system(c_format("iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount %d --rttl --name SSH -j DROP",
                    limit).c_str());

    string error_text = strerror(errno);
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);
}

void
LoginMain::set_ssh_connection_limit(const uint32_t& limit)
{
    if (_ssh_connection_limit_installed) {
        system(c_format("iptables -D INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above %d -j REJECT",
                        _ssh_connection_limit).c_str());
    }
    _ssh_connection_limit = limit;
    _ssh_connection_limit_installed = true;
    system(c_format("iptables -I INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above %d -j REJECT",
                    limit).c_str());

    // Puts the SSH pair back above the connection rule; raises on its own.
    set_ssh_rate_limit(_ssh_rate_limit);

    string error_text = strerror(errno);
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "login_main.cc",
             __FUNCTION__);
    xlog_info("LOGIN", where, "%s\n", error_text.c_str());
    if (error_text != "Success")
        throw LoginException("login_main.cc", __LINE__, error_text);
}
