// Card state and job timers of LoginMain.

#include "core/login_module.h"

#include "libxorp/xorp.h"

#include "core/login_main.hh"

// Pending: the five job timers are made and stopped here.
void
LoginMain::set_timers_enable(bool enable)
{
    UNUSED(enable);
}
