// Placeholder definitions of the telnet/SSH service, access list, in-band and
// remote configuration operations, until they are written. None of them
// touches the system yet.

#include "core/login_module.h"

#include "libxorp/xorp.h"

#include "core/login_main.hh"

void LoginMain::set_telnet_connection_limit(const uint32_t&) {}
void LoginMain::set_telnet_disable(const bool&) {}
void LoginMain::set_ssh_root_login(const string&) {}
void LoginMain::set_ssh_protocol_version(const string&) {}
void LoginMain::set_ssh_disable(const bool&) {}

void LoginMain::set_inband_enable(const bool& enable) { _inband_enabled = enable; }
void LoginMain::inband_walk_step() {}

void LoginMain::clear_snmp_access_list() {}
void LoginMain::add_snmp_access_entry(const IPv4Net&) {}
void LoginMain::delete_snmp_access_entry(const IPv4Net&) {}
void LoginMain::clear_remote_access_list() {}
void LoginMain::add_remote_access_entry_ipv4(const IPv4Net&) {}
void LoginMain::delete_remote_access_entry_ipv4(const IPv4Net&) {}
void LoginMain::add_remote_access_entry_ipv6(const IPv6Net&) {}
void LoginMain::delete_remote_access_entry_ipv6(const IPv6Net&) {}
void LoginMain::add_web_access_entry(const IPv4Net&) {}
void LoginMain::delete_web_access_entry(const IPv4Net&) {}

void LoginMain::enable_remote_config() {}
void LoginMain::disable_remote_config() {}
