// Bodies of the periodic monitoring jobs, run from the timers that card
// state 8 starts. The work itself is done by the hardware library and by
// the temperature script; a job only calls them and keeps its timer going.

#include "core/login_module.h"

#include <list>
#include <string>

#include "libxorp/xorp.h"

#include "vela/vela_common.hh"

#include "core/login_main.hh"

bool
LoginMain::fan_job()
{
    fan_controller();
    return true;
}

void
LoginMain::rpsu_job()
{
    rpsu_controller();
}

bool
LoginMain::syslog_info_job()
{
    syslog_rpsu_info();
    syslog_sfp_info();
    return true;
}

bool
LoginMain::temperature_job()
{
    execute_command("/vela/bin/shell/snmp_switch_temperature.sh",
                    list<string>(), false, false);
    return true;
}
