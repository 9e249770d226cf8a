// Placeholder definitions of the host name, banner, NTP, syslog, one-shot and
// periodic job operations, until they are written. None of them touches the
// system yet.

#include "core/login_module.h"

#include "libxorp/xorp.h"

#include "core/login_main.hh"

void LoginMain::set_login_announcement(const string&) {}
void LoginMain::delete_login_announcement(const string&) {}
void LoginMain::set_login_message(const string&) {}
void LoginMain::delete_login_message(const string&) {}
void LoginMain::set_hostname(const string& hostname) { _hostname = hostname; }

void LoginMain::set_ntp_server(const IPv4&) {}
void LoginMain::delete_ntp_server(const IPv4&) {}
void LoginMain::set_syslog_host(const IPv4&) {}
void LoginMain::delete_syslog_host() {}
void LoginMain::set_syslog_file(const string&) {}
void LoginMain::reboot_system() {}
int LoginMain::clear_arp(const string&) { return 0; }
int LoginMain::clear_neighbours(const string&) { return 0; }
void LoginMain::noop_operation_a() {}
void LoginMain::noop_operation_b() {}
