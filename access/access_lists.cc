// The three management access lists: SNMP (UDP 161), remote access (TCP 22
// and 23, IPv4 and IPv6 together) and web (TCP 8080). Each entry is an
// ACCEPT rule appended at the tail of INPUT, above the list's closing DROP
// rule. An entry is remembered as its prefix text, whatever the commands did.

#include "core/login_module.h"

#include <cstdlib>

#include "libxorp/xorp.h"

#include "core/login_main.hh"

namespace {

struct ListRules {
    const char* add_accept;     // followed by the prefix and " -j ACCEPT"
    const char* delete_accept;  // the same
    const char* add_drop;
    const char* delete_drop;
};

const ListRules kSnmpRules = {
    "iptables -A INPUT -p udp --dport 161 -s ",
    "iptables -D INPUT -p udp --dport 161 -s ",
    "iptables -A INPUT -p udp --dport 161 -j DROP",
    "iptables -D INPUT -p udp --dport 161 -j DROP",
};

const ListRules kRemoteRules = {
    "iptables -A INPUT -p tcp -m multiport --dport 22,23 -s ",
    "iptables -D INPUT -p tcp -m multiport --dport 22,23 -s ",
    "iptables -A INPUT -p tcp -m multiport --dport 22,23 -j DROP",
    "iptables -D INPUT -p tcp -m multiport --dport 22,23 -j DROP",
};

const ListRules kWebRules = {
    "iptables -A INPUT -p tcp --dport 8080 -s ",
    "iptables -D INPUT -p tcp --dport 8080 -s ",
    "iptables -A INPUT -p tcp --dport 8080 -j DROP",
    "iptables -D INPUT -p tcp --dport 8080 -j DROP",
};

const char kAcceptEnd[] = " -j ACCEPT";

void
run(const string& command)
{
    system(command.c_str());
}

// The closing rule moves behind the new ACCEPT rule (the first add creates it).
void
add_entry(std::set<string>& list, const ListRules& rules, const string& prefix)
{
    run(rules.delete_drop);
    run(rules.add_accept + prefix + kAcceptEnd);
    run(rules.add_drop);
    list.insert(prefix);
}

void
delete_entry(std::set<string>& list, const ListRules& rules,
             const string& prefix, bool drop_goes_with_last)
{
    run(rules.delete_accept + prefix + kAcceptEnd);
    list.erase(prefix);
    if (drop_goes_with_last && list.empty())
        run(rules.delete_drop);
}

void
clear_list(std::set<string>& list, const ListRules& rules)
{
    for (const string& prefix : list)
        run(rules.delete_accept + prefix + kAcceptEnd);
    list.clear();
    run(rules.delete_drop);
}

}  // namespace

void
LoginMain::clear_snmp_access_list()
{
    clear_list(_snmp_access_list, kSnmpRules);
}

void
LoginMain::add_snmp_access_entry(const IPv4Net& prefix)
{
    add_entry(_snmp_access_list, kSnmpRules, prefix.str());
}

void
LoginMain::delete_snmp_access_entry(const IPv4Net& prefix)
{
    delete_entry(_snmp_access_list, kSnmpRules, prefix.str(), true);
}

void
LoginMain::clear_remote_access_list()
{
    clear_list(_remote_access_list, kRemoteRules);
}

void
LoginMain::add_remote_access_entry_ipv4(const IPv4Net& prefix)
{
    add_entry(_remote_access_list, kRemoteRules, prefix.str());
}

void
LoginMain::delete_remote_access_entry_ipv4(const IPv4Net& prefix)
{
    delete_entry(_remote_access_list, kRemoteRules, prefix.str(), true);
}

void
LoginMain::add_remote_access_entry_ipv6(const IPv6Net& prefix)
{
    add_entry(_remote_access_list, kRemoteRules, prefix.str());
}

void
LoginMain::delete_remote_access_entry_ipv6(const IPv6Net& prefix)
{
    delete_entry(_remote_access_list, kRemoteRules, prefix.str(), true);
}

void
LoginMain::add_web_access_entry(const IPv4Net& prefix)
{
    add_entry(_web_access_list, kWebRules, prefix.str());
}

// The web list keeps its closing rule: port 8080 stays closed while the
// remote configuration agent is enabled (see remote_config.cc).
void
LoginMain::delete_web_access_entry(const IPv4Net& prefix)
{
    delete_entry(_web_access_list, kWebRules, prefix.str(), false);
}
