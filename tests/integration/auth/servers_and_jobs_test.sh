#!/bin/bash
# TACACS+ servers and the job timers: the script is told every configured
# server, the live-server file holds those that answer ping, both in byte
# order of the texts; the card manager's state 8 starts the jobs and state
# 10 stops them.
set -u
. "$(dirname "$0")/../daemon/lib.sh"

# 10.99.0.10 answers no more than 10.99.0.3 does, and comes before
# 10.99.0.2 in byte order (after it in number order).
LIVE=10.99.0.2
DEAD=10.99.0.10
FILE=/tmp/system/tac_live_servers
VELA_LOG=/var/log/sandbox/vela_common.log
CARD_XRL="finder://login/card_manager_client/0.1/card_state_changed?card:u32=1&state:u32"

ping_line() { echo "ping -c 3 -i 0.2 -w 1 $1|grep '100% packet loss'|wc -l"; }
pings() { grep -c "^ping .* $LIVE|" "$JOURNAL"; }
now_ms() { date +%s%3N; }
server() { call_xrl "$LOGIN_XRL/$1_tacacs_server?server:ipv4=$2" || fail "$1 $2"; }
expect_live_file() {
    expect_eq "$1" "$(printf %s "$2" | od -An -c)" "$(od -An -c $FILE)"
}

start_finder
start_login
: >"$JOURNAL"

server set $DEAD
expect_live_file "no live server yet" ""
server set $LIVE
expect_live_file "the live server" "server=$LIVE "
written=$(stat -c %y $FILE)
server set $LIVE
expect_eq "a pass that changed nothing leaves the file alone" "$written" "$(stat -c %y $FILE)"
server delete $DEAD
expect_live_file "rewritten after a delete" "server=$LIVE "
server delete $LIVE
expect_live_file "empty after the last delete" ""
expect_eq "journal" "$(ping_line $DEAD)
/vela/bin/shell/tacacs_server.sh server=$DEAD 
$(ping_line $DEAD)
$(ping_line $LIVE)
/vela/bin/shell/tacacs_server.sh server=$DEAD server=$LIVE 
$(ping_line $DEAD)
$(ping_line $LIVE)
/vela/bin/shell/tacacs_server.sh server=$DEAD server=$LIVE 
$(ping_line $LIVE)
/vela/bin/shell/tacacs_server.sh server=$LIVE 
/vela/bin/shell/tacacs_server.sh server=0.0.0.0 " "$(cat "$JOURNAL")"

# The card manager registers the daemon for its states, then sends state 8.
server set $LIVE
: >"$JOURNAL"
: >$VELA_LOG
xrl_peer --class card_manager --log /tmp/card.log --after register_card_state \
    --send "$CARD_XRL=8" >/tmp/card.out 2>&1 &
wait_until "grep -q 'state:u32=8 -> ' /tmp/card.out" "state 8 never answered"
grep -q register_card_state /tmp/card.log || fail "state 8 sent unregistered"
wait_until '[ "$(pings)" -ge 1 ]' "no liveness pass after state 8"
first=$(now_ms)
expect_eq "rpsu_controller at 5 s, before the first pass" rpsu_controller "$(cat $VELA_LOG)"
wait_until '[ "$(pings)" -ge 2 ]' "no second liveness pass"
second=$(now_ms)
[ $((second - first)) -ge 9500 ] || fail "passes $((second - first)) ms apart"

call_xrl "$CARD_XRL=10" || fail "state 10"
# Nothing more within a period and a bit after the last pass.
until [ "$(now_ms)" -gt $((second + 11000)) ] || [ "$(pings)" -gt 2 ]; do
    sleep 0.2
done
expect_eq "passes after state 10" 2 "$(pings)"
expect_eq "jobs after state 10" rpsu_controller "$(cat $VELA_LOG)"

finish
