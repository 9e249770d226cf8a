// Placeholder definitions of the TACACS+ and local authentication operations,
// until they are written. None of them touches the system yet.

#include "core/login_module.h"

#include "libxorp/xorp.h"

#include "core/login_main.hh"

void LoginMain::set_local_authentication(const bool&) {}
void LoginMain::set_tacacs_disable(const bool&) {}
void LoginMain::set_tacacs_enable_authorization(const bool&) {}
void LoginMain::set_tacacs_enable_accounting(const bool&) {}
void LoginMain::set_tacacs_server(const IPv4&) {}
void LoginMain::delete_tacacs_server(const IPv4&) {}
void LoginMain::set_tacacs_key(const string&) {}
void LoginMain::set_tacacs_auth_type(const string&) {}
bool LoginMain::tac_live() { return true; }
int LoginMain::tac_ping(const char*) { return -1; }
