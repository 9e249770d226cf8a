#!/bin/bash
# Module tracking through the finder: modules alive before and after the
# daemon's registration are sent the logging level and facility, the card
# manager is asked for the card states, and later changes reach every live
# module. Other modules are played by xrl_peer.
set -u
. "$(dirname "$0")/lib.sh"

# wait_for_lines FILE COUNT: until FILE holds COUNT lines (or give up).
wait_for_lines() {
    local tries=0
    until [ "$(cat "$1" 2>/dev/null | wc -l)" -ge "$2" ]; do
        tries=$((tries + 1))
        if [ $tries -gt 300 ]; then
            fail "$1 never reached $2 lines"
            return
        fi
        sleep 0.1
    done
}

start_finder
# fea lives before the daemon registers; the card manager comes later.
xrl_peer --class fea --log /tmp/fea.log >/dev/null 2>&1 &
start_login
wait_for_lines /tmp/fea.log 2
expect_eq "sent to a module alive at start" \
"finder://fea/log/0.1/set_logging_level?level:txt=warning
finder://fea/log/0.1/set_logging_facility?facility:u32=0" \
"$(cat /tmp/fea.log)"

xrl_peer --class card_manager --log /tmp/card.log >/dev/null 2>&1 &
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

call_xrl "$COMMON_XRL/shutdown" >/dev/null
wait $LOGIN_PID
expect_eq "exit status of login" 0 $?
finish
