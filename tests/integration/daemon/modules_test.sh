#!/bin/bash
# Module tracking through the finder: modules alive before and after the
# daemon's registration are sent the logging level and facility, the card
# manager is asked for the card states, later changes reach every live
# module, refusals are logged, and every class of the daemon's list is
# followed. Other modules are played by xrl_peer.
set -u
. "$(dirname "$0")/lib.sh"

# wait_for_log PATTERN COUNT: until the daemon's log holds COUNT lines
# matching PATTERN (or give up).
wait_for_log() {
    local pattern=$1 count=$2
    wait_until '[ "$(grep -c -- "$pattern" /tmp/login.log)" -ge "$count" ]' \
        "the log never held $count line(s) matching: $pattern"
}

start_finder
# fea lives before the daemon registers; the card manager comes later. Both
# refuse what they are sent, and still log it.
xrl_peer --class fea --log /tmp/fea.log \
    --fail set_logging_level=refused --fail set_logging_facility=refused \
    >/tmp/fea.out 2>&1 &
wait_until "grep -q '^ready ' /tmp/fea.out" "fea never became ready"
# Arguments are not read by the daemon.
start_login -x --unknown extra
expect_eq "get_logging_level before any set" "level:txt=trace" \
    "$(call_xrl "$LOGIN_XRL/get_logging_level")"
wait_for_lines /tmp/fea.log 2
expect_eq "sent to a module alive at start" \
"finder://fea/log/0.1/set_logging_level?level:txt=warning
finder://fea/log/0.1/set_logging_facility?facility:u32=0" \
"$(cat /tmp/fea.log)"

xrl_peer --class card_manager --log /tmp/card.log --fail register_card_state=busy \
    >/dev/null 2>&1 &
wait_for_lines /tmp/card.log 3
expect_eq "sent to the card manager at its birth" \
"finder://card_manager/log/0.1/set_logging_level?level:txt=warning
finder://card_manager/log/0.1/set_logging_facility?facility:u32=0" \
"$(head -2 /tmp/card.log)"
case "$(sed -n 3p /tmp/card.log)" in
    "finder://card_manager/card_manager/0.1/register_card_state?states:list=:u32=8,:u32=10&instance:txt=login-"*) ;;
    *) fail "card state registration: $(sed -n 3p /tmp/card.log)" ;;
esac

# A change reaches every live module, in class order.
: > /tmp/fea.log
: > /tmp/card.log
call_xrl "$LOGIN_XRL/set_logging_level?level:txt=info" || fail "set_logging_level"
call_xrl "$LOGIN_XRL/set_logging_facility?facility:u32=17" || fail "set_logging_facility"
wait_for_lines /tmp/fea.log 2
wait_for_lines /tmp/card.log 2
expect_eq "fea after the changes" \
"finder://fea/log/0.1/set_logging_level?level:txt=info
finder://fea/log/0.1/set_logging_facility?facility:u32=17" \
"$(cat /tmp/fea.log)"
expect_eq "card manager after the changes" \
"finder://card_manager/log/0.1/set_logging_level?level:txt=info
finder://card_manager/log/0.1/set_logging_facility?facility:u32=17" \
"$(cat /tmp/card.log)"
expect_eq "get_logging_level" "level:txt=info" "$(call_xrl "$LOGIN_XRL/get_logging_level")"
expect_eq "get_logging_facility" "facility:u32=17" "$(call_xrl "$LOGIN_XRL/get_logging_facility")"

# Refused sends are logged with the place of the callback, and nothing else
# happens: fea stays followed (it got the changes above).
prefix='ERROR .*+[0-9]* xrl_login_target.cc'
wait_for_log "$prefix set_logging_level_cb send module logging level failed\.$" 2
wait_for_log "$prefix set_logging_facility_cb send module fea logging facility failed\.$" 2
wait_for_log "$prefix register_with_cardmgr_cb Login can not register with card manager\.$" 1

# Every other class of the list, born now, gets the latest level and facility.
classes="rtrmgr lcmgr01 fdb sif policy stat lldp rstp mstp snmp lacp igmpsnooping
         ipfix IGMP MFEA_4 ospfv2 ospfv3 PIMSM_4 rib ripng rip static_routes vrrp
         openvswitch bgp"
for class in $classes; do
    xrl_peer --class $class --log /tmp/class-$class.log >/dev/null 2>&1 &
done
for class in $classes; do
    wait_for_lines /tmp/class-$class.log 2
    expect_eq "sent to $class at its birth" \
"finder://$class/log/0.1/set_logging_level?level:txt=info
finder://$class/log/0.1/set_logging_facility?facility:u32=17" \
"$(cat /tmp/class-$class.log)"
done

call_xrl "$COMMON_XRL/shutdown" >/dev/null
wait $LOGIN_PID
expect_eq "exit status of login" 0 $?
finish
