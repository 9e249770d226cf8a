// In-band management lockdown: two DROP rules for each of vlan.1 to
// vlan.128, inserted (lockdown) or deleted (in-band management on) one
// interface per step, each step on its own zero-delay timer so that the
// event loop serves XRLs and other timers between two interfaces.
//
// There is never more than one walk queued, towards the latest wish: a new
// wish redirects the walk to the interfaces whose rules do not match it yet,
// so toggling many times costs at most one walk, and the rules end exactly
// as the latest wish says.

#include "core/login_module.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"
#include "libxorp/eventloop.hh"
#include "libxipc/xrl_std_router.hh"

#include "access/firewall_commands.hh"
#include "core/login_main.hh"

namespace {

const int kInbandInterfaces = 128;
const int kInbandTimerPriority = 4;

// The TCP rule, then the UDP rule, each followed by the error-text check and
// a look at the tool's exit status. A delete that finds no rule leaves the
// interface open as wished.
void
write_inband_rules(int number, bool enabled)
{
    const char* start = enabled ? "/sbin/iptables -D INPUT -i vlan."
                                : "/sbin/iptables -I INPUT -i vlan.";
    for (const char* end : {" -p tcp -m multiport --dport 22,23,8080 -j DROP",
                            " -p udp -m multiport --dport 161 -j DROP"}) {
        int status = run_firewall_command(c_format("%s%d%s", start, number, end));

        string error_text = strerror(errno);
        if (error_text != "Success")
            throw LoginException("login_main.cc", __LINE__, error_text);
        int exit_status = command_exit_status(status);
        if (exit_status != 0 && !(enabled && exit_status == kNoSuchRuleStatus)) {
            throw LoginException("login_main.cc", __LINE__,
                                 c_format("/sbin/iptables failed with exit status %d",
                                          exit_status));
        }
    }
}

}  // namespace

void
LoginMain::set_inband_enable(const bool& enable)
{
    _inband_enabled = enable;
    _inband_pending.clear();
    for (int number = 1; number <= kInbandInterfaces; ++number) {
        auto reached = _inband_reached.find(number);
        if (reached == _inband_reached.end() || reached->second != enable)
            _inband_pending.push_back(number);
    }
    if (_inband_pending.empty()) {
        _inband_timer.unschedule();
        return;
    }
    // A step already waiting serves the new wish as well.
    if (!_inband_timer.scheduled()) {
        _inband_timer = _xrl_router.eventloop().timer_list().new_oneoff_after(
            TimeVal(0, 0), callback(this, &LoginMain::inband_walk_step),
            kInbandTimerPriority);
    }
}

void
LoginMain::inband_walk_step()
{
    int number = _inband_pending.front();
    _inband_pending.pop_front();

    // A failed step drops its interface (its rules are then not known, so
    // the next wish handles it again) and the walk goes on, so that the list
    // empties and get_status returns to its running text.
    try {
        write_inband_rules(number, _inband_enabled);
        _inband_reached[number] = _inband_enabled;
    } catch (const LoginException& e) {
        _inband_reached.erase(number);
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
