// Placeholder definitions of the periodic job bodies, until they are
// written. None of them touches the system yet.

#include "core/login_module.h"

#include "libxorp/xorp.h"

#include "core/login_main.hh"

bool LoginMain::fan_job() { return true; }
void LoginMain::rpsu_job() {}
bool LoginMain::syslog_info_job() { return true; }
bool LoginMain::temperature_job() { return true; }
