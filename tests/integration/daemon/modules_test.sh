#!/bin/bash
# Modules (played by xrl_peer) alive before or born after the daemon get the
# logging level and facility, the card manager the states; changes reach all,
# refusals are logged, and every class of the daemon's list is followed.
set -u
. "$(dirname "$0")/lib.sh"

# sent_to CLASS LEVEL FACILITY: the two settings CLASS was sent, in that order.
sent_to() {
    printf 'finder://%s/log/0.1/set_logging_level?level:txt=%s\nfinder://%s/log/0.1/set_logging_facility?facility:u32=%s' \
        "$1" "$2" "$1" "$3"
}

# wait_for_log PATTERN COUNT: until the daemon's log holds COUNT matching lines.
wait_for_log() {
    local pattern=$1 count=$2
    wait_until '[ "$(grep -c -- "$pattern" /tmp/login.log)" -ge "$count" ]' \
        "the log never held $count line(s) matching: $pattern"
}

start_finder
# fea lives before the daemon, the card manager comes later; both refuse all.
xrl_peer --class fea --log /tmp/fea.log \
    --fail set_logging_level=refused --fail set_logging_facility=refused \
    >/tmp/fea.out 2>&1 &
wait_until "grep -q '^ready ' /tmp/fea.out" "fea never became ready"
start_login
expect_eq "get_logging_level before any set" "level:txt=trace" \
    "$(call_xrl "$LOGIN_XRL/get_logging_level")"
wait_for_lines /tmp/fea.log 2
expect_eq "sent to a module alive at start" "$(sent_to fea warning 0)" "$(cat /tmp/fea.log)"

xrl_peer --class card_manager --log /tmp/card_manager.log --fail register_card_state=busy \
    >/dev/null 2>&1 &
wait_for_lines /tmp/card_manager.log 3
expect_eq "sent to the card manager at its birth" "$(sent_to card_manager warning 0)" \
    "$(head -2 /tmp/card_manager.log)"
case "$(sed -n 3p /tmp/card_manager.log)" in
    "finder://card_manager/card_manager/0.1/register_card_state?states:list=:u32=8,:u32=10&instance:txt=login-"*) ;;
    *) fail "card state registration: $(sed -n 3p /tmp/card_manager.log)" ;;
esac

# A change reaches every live module.
: > /tmp/fea.log
: > /tmp/card_manager.log
call_xrl "$LOGIN_XRL/set_logging_level?level:txt=info" || fail "set_logging_level"
call_xrl "$LOGIN_XRL/set_logging_facility?facility:u32=17" || fail "set_logging_facility"
expect_eq "get_logging_level" "level:txt=info" "$(call_xrl "$LOGIN_XRL/get_logging_level")"
expect_eq "get_logging_facility" "facility:u32=17" "$(call_xrl "$LOGIN_XRL/get_logging_facility")"

# Refused sends are logged with the callback's place; fea stays followed.
prefix='ERROR .*+[0-9]* xrl_login_target.cc'
wait_for_log "$prefix set_logging_level_cb send module logging level failed\.$" 2
wait_for_log "$prefix set_logging_facility_cb send module fea logging facility failed\.$" 2
wait_for_log "$prefix register_with_cardmgr_cb Login can not register with card manager\.$" 1

# Every other class of the list, born now, gets the latest level and facility.
classes="rtrmgr lcmgr01 fdb sif policy stat lldp rstp mstp snmp lacp igmpsnooping
         ipfix IGMP MFEA_4 ospfv2 ospfv3 PIMSM_4 rib ripng rip static_routes vrrp
         openvswitch bgp"
for class in $classes; do
    xrl_peer --class $class --log /tmp/$class.log >/dev/null 2>&1 &
done
for class in fea card_manager $classes; do
    wait_for_lines /tmp/$class.log 2
    expect_eq "$class sent the latest settings" "$(sent_to $class info 17)" "$(cat /tmp/$class.log)"
done

call_xrl "$COMMON_XRL/shutdown" >/dev/null
wait $LOGIN_PID
expect_eq "exit status of login" 0 $?
finish
