#!/bin/bash
# The finder killed and restarted: the daemon runs on, then follows the
# module classes again (level and facility to a later module, states to the
# card manager).
set -u
. "$(dirname "$0")/lib.sh"

start_finder
start_login
xrl_peer --class card_manager --log /tmp/card.log >/dev/null 2>&1 &
wait_for_lines /tmp/card.log 3

kill -KILL $FINDER_PID
wait $FINDER_PID 2>/dev/null
sleep 1
kill -0 $LOGIN_PID || fail "login ended with the finder"
start_finder
wait_until 'call_xrl "$COMMON_XRL/get_status" >/dev/null 2>&1' "login never came back"
xrl_peer --class fea --log /tmp/fea.log >/dev/null 2>&1 &
wait_for_lines /tmp/fea.log 2
expect_eq "sent to a module born after the restart" \
"finder://fea/log/0.1/set_logging_level?level:txt=warning
finder://fea/log/0.1/set_logging_facility?facility:u32=0" "$(cat /tmp/fea.log)"
wait_until '[ "$(grep -c register_card_state /tmp/card.log)" = 2 ]' "card states not registered again"
finish
