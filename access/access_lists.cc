// The three management access lists: SNMP (UDP 161), remote access (TCP 22
// and 23, IPv4 and IPv6 together) and web (TCP 8080). Each entry is an
// ACCEPT rule appended at the tail of INPUT, above the list's closing DROP
// rule. An entry is remembered as its prefix text.
//
// The remote list closes both families: its IPv6 entries go to ip6tables,
// and while it has any entry, of either family, each family's chain ends
// in its closing DROP rule, so no unlisted source reaches SSH or telnet over
// IPv4 or IPv6.

#include "core/login_module.h"

#include "access/access_lists.hh"

#include "libxorp/xorp.h"

#include "access/firewall_commands.hh"
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

const ListRules kRemoteRules6 = {
    "ip6tables -A INPUT -p tcp -m multiport --dport 22,23 -s ",
    "ip6tables -D INPUT -p tcp -m multiport --dport 22,23 -s ",
    "ip6tables -A INPUT -p tcp -m multiport --dport 22,23 -j DROP",
    "ip6tables -D INPUT -p tcp -m multiport --dport 22,23 -j DROP",
};

const ListRules kWebRules = {
    "iptables -A INPUT -p tcp --dport 8080 -s ",
    "iptables -D INPUT -p tcp --dport 8080 -s ",
    "iptables -A INPUT -p tcp --dport 8080 -j DROP",
    "iptables -D INPUT -p tcp --dport 8080 -j DROP",
};

const char kAcceptEnd[] = " -j ACCEPT";

struct ListKind {
    const ListRules* ipv4;
    const ListRules* ipv6;     // null: the list takes IPv4 prefixes only
    bool drop_goes_with_last;  // the web list keeps its closing rule
};

const ListKind kSnmpList = {&kSnmpRules, nullptr, true};
const ListKind kRemoteList = {&kRemoteRules, &kRemoteRules6, true};
const ListKind kWebList = {&kWebRules, nullptr, false};

// The rules of the prefix's family: an IPv6 text always holds a colon.
const ListRules&
rules_for(const ListKind& kind, const string& prefix)
{
    if (kind.ipv6 != nullptr && prefix.find(':') != string::npos)
        return *kind.ipv6;
    return *kind.ipv4;
}

void
delete_drops(const ListKind& kind)
{
    run_firewall_command(kind.ipv4->delete_drop);
    if (kind.ipv6 != nullptr)
        run_firewall_command(kind.ipv6->delete_drop);
}

// A prefix already in the list has its rule: nothing runs, so a prefix never
// stands twice in the chain. The closing rule moves behind the new ACCEPT
// rule; the first entry of a list of both families also closes the other.
void
add_entry(std::set<string>& list, const ListKind& kind, const string& prefix)
{
    if (list.count(prefix) != 0)
        return;
    const ListRules& rules = rules_for(kind, prefix);
    bool first = list.empty();
    run_firewall_command(rules.delete_drop);
    run_firewall_command(rules.add_accept + prefix + kAcceptEnd);
    run_firewall_command(rules.add_drop);
    if (first && kind.ipv6 != nullptr)
        run_firewall_command((&rules == kind.ipv4 ? kind.ipv6 : kind.ipv4)->add_drop);
    list.insert(prefix);
}

// True when the prefix's ACCEPT rule is gone: deleted, or not there. A delete
// that failed otherwise leaves the entry, so the list still closes its ports
// and a later delete or clear tries again.
bool
delete_accept(const ListKind& kind, const string& prefix)
{
    int status = run_firewall_command(rules_for(kind, prefix).delete_accept
                                      + prefix + kAcceptEnd);
    int exit_status = command_exit_status(status);
    if (exit_status == 0 || exit_status == kNoSuchRuleStatus)
        return true;
    log_access_error(__FUNCTION__, __LINE__,
                     "ACCEPT rule of " + prefix + " not deleted, it stays in the list: "
                     + (exit_status == -1 ? string("no shell ran the command")
                                          : "exit status " + std::to_string(exit_status)));
    return false;
}

void
delete_entry(std::set<string>& list, const ListKind& kind, const string& prefix)
{
    if (delete_accept(kind, prefix))
        list.erase(prefix);
    if (kind.drop_goes_with_last && list.empty())
        delete_drops(kind);
}

void
delete_accepts(std::set<string>& list, const ListKind& kind)
{
    for (auto it = list.begin(); it != list.end();)
        it = delete_accept(kind, *it) ? list.erase(it) : std::next(it);
}

void
clear_list(std::set<string>& list, const ListKind& kind)
{
    delete_accepts(list, kind);
    if (list.empty())
        delete_drops(kind);
}

}  // namespace

void
delete_web_access_accepts(std::set<string>& list)
{
    delete_accepts(list, kWebList);
}

void
LoginMain::clear_snmp_access_list()
{
    clear_list(_snmp_access_list, kSnmpList);
}

void
LoginMain::add_snmp_access_entry(const IPv4Net& prefix)
{
    add_entry(_snmp_access_list, kSnmpList, prefix.str());
}

void
LoginMain::delete_snmp_access_entry(const IPv4Net& prefix)
{
    delete_entry(_snmp_access_list, kSnmpList, prefix.str());
}

void
LoginMain::clear_remote_access_list()
{
    clear_list(_remote_access_list, kRemoteList);
}

void
LoginMain::add_remote_access_entry_ipv4(const IPv4Net& prefix)
{
    add_entry(_remote_access_list, kRemoteList, prefix.str());
}

void
LoginMain::delete_remote_access_entry_ipv4(const IPv4Net& prefix)
{
    delete_entry(_remote_access_list, kRemoteList, prefix.str());
}

void
LoginMain::add_remote_access_entry_ipv6(const IPv6Net& prefix)
{
    add_entry(_remote_access_list, kRemoteList, prefix.str());
}

void
LoginMain::delete_remote_access_entry_ipv6(const IPv6Net& prefix)
{
    delete_entry(_remote_access_list, kRemoteList, prefix.str());
}

void
LoginMain::add_web_access_entry(const IPv4Net& prefix)
{
    add_entry(_web_access_list, kWebList, prefix.str());
}

// The web list keeps its closing rule: port 8080 stays closed while the
// remote configuration agent is enabled (see remote_config.cc).
void
LoginMain::delete_web_access_entry(const IPv4Net& prefix)
{
    delete_entry(_web_access_list, kWebList, prefix.str());
}
