// Card state and job timers of LoginMain: card state 8 starts the five job
// timers, card state 10 stops them.

#include "core/login_module.h"

#include "libxorp/xorp.h"
#include "libxorp/eventloop.hh"
#include "libxorp/timer.hh"
#include "libxipc/xrl_std_router.hh"

#include "core/login_main.hh"

// Every job timer runs at this priority.
static const int JOB_TIMER_PRIORITY = 4;

void
LoginMain::set_timers_enable(bool enable)
{
    if (enable) {
        // Assigning drops the timer a field held: periods start over, and
        // a one-shot that has not fired yet never will.
        TimerList& timers = _xrl_router.eventloop().timer_list();
        _tac_live_timer = timers.new_periodic(
            TimeVal(10, 0), callback(this, &LoginMain::tac_live),
            JOB_TIMER_PRIORITY);
        _fan_timer = timers.new_periodic(
            TimeVal(240, 0), callback(this, &LoginMain::fan_job),
            JOB_TIMER_PRIORITY);
        _rpsu_timer = timers.new_oneoff_after(
            TimeVal(5, 0), callback(this, &LoginMain::rpsu_job),
            JOB_TIMER_PRIORITY);
        _syslog_info_timer = timers.new_periodic(
            TimeVal(60, 0), callback(this, &LoginMain::syslog_info_job),
            JOB_TIMER_PRIORITY);
        _temperature_timer = timers.new_periodic(
            TimeVal(60, 0), callback(this, &LoginMain::temperature_job),
            JOB_TIMER_PRIORITY);
        return;
    }
    _tac_live_timer.unschedule();
    _fan_timer.unschedule();
    _rpsu_timer.unschedule();
    _syslog_info_timer.unschedule();
    _temperature_timer.unschedule();
}
