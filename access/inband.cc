// In-band management lockdown: two DROP rules for each of vlan.1 to
// vlan.128, inserted (lockdown) or deleted (in-band management on) one
// interface per step, each step on its own zero-delay timer so that the
// event loop serves XRLs and other timers between two interfaces.

#include "core/login_module.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"
#include "libxorp/eventloop.hh"
#include "libxipc/xrl_std_router.hh"

#include "core/login_main.hh"

namespace {

const int kInbandInterfaces = 128;
const int kInbandTimerPriority = 4;

// The TCP rule, then the UDP rule, each followed by the error-text check.
void
write_inband_rules(int number, bool enabled)
{
    const char* start = enabled ? "/sbin/iptables -D INPUT -i vlan."
                                : "/sbin/iptables -I INPUT -i vlan.";
    for (const char* end : {" -p tcp -m multiport --dport 22,23,8080 -j DROP",
                            " -p udp -m multiport --dport 161 -j DROP"}) {
        system(c_format("%s%d%s", start, number, end).c_str());

        string error_text = strerror(errno);
        if (error_text != "Success")
            throw LoginException("login_main.cc", __LINE__, error_text);
    }
}

}  // namespace

void
LoginMain::set_inband_enable(const bool& enable)
{
    _inband_enabled = enable;
    for (int number = 1; number <= kInbandInterfaces; ++number)
        _inband_pending.push_back(number);
    // Replacing the handle drops a step still waiting: one chain of steps.
    _inband_timer = _xrl_router.eventloop().timer_list().new_oneoff_after(
        TimeVal(0, 0), callback(this, &LoginMain::inband_walk_step),
        kInbandTimerPriority);
}

void
LoginMain::inband_walk_step()
{
    int number = _inband_pending.front();
    _inband_pending.pop_front();

    // A failed step drops its interface and the walk goes on, so that the
    // list empties and get_status returns to its running text.
    try {
        write_inband_rules(number, _inband_enabled);
    } catch (const LoginException& e) {
        char where[8000];
        snprintf(where, 8000, "+%d %s %s", __LINE__, "login_main.cc", __FUNCTION__);
        xlog_error("LOGIN", where, "In-band rules of vlan.%d not written: %s\n",
                   number, e.why().c_str());
    }

    if (!_inband_pending.empty()) {
        _inband_timer = _xrl_router.eventloop().timer_list().new_oneoff_after(
            TimeVal(0, 0), callback(this, &LoginMain::inband_walk_step),
            kInbandTimerPriority);
    }
}
