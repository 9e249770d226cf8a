#!/bin/bash
# Finder events through xrl_peer: births of live instances at once, later
# births, deaths when a process dies, and the originator check.
set -u
. "$(dirname "$0")/lib.sh"
cd /tmp
start_finder

start_peer fea
fea1=$peer_instance fea1_pid=$peer_pid

notify='finder://finder/finder_event_notifier/0.1/register_class_event_interest'
start_peer watcher --log /tmp/w.log \
    --send "$notify?requester_instance:txt={self}&class_name:txt=fea" \
    --send "$notify?requester_instance:txt={self}&class_name:txt=rib" \
    --send "$notify?requester_instance:txt=fea-0@127.0.0.1&class_name:txt=bgp"
watcher=$peer_instance
wait_for '(($(wc -l </tmp/watcher.out) == 4))'
expect_eq "registration answers" "$notify?requester_instance:txt=$watcher&class_name:txt=fea -> 100 Okay
$notify?requester_instance:txt=$watcher&class_name:txt=rib -> 100 Okay
$notify?requester_instance:txt=fea-0@127.0.0.1&class_name:txt=bgp -> 102 Command failed failed (not originator)." \
    "$(sed 1d /tmp/watcher.out)"

ev='finder://watcher/finder_event_observer/0.1/xrl_target'
wait_for '[[ -s /tmp/w.log ]]'
start_peer rib
rib=$peer_instance
wait_for '(($(wc -l </tmp/w.log) == 2))'
kill -9 "$fea1_pid"
wait "$fea1_pid" 2>/dev/null
wait_for '(($(wc -l </tmp/w.log) == 3))'
start_peer fea
fea2=$peer_instance
wait_for '(($(wc -l </tmp/w.log) == 4))'
start_peer bgp
expect_eq "event log" "${ev}_birth?target_class:txt=fea&target_instance:txt=$fea1
${ev}_birth?target_class:txt=rib&target_instance:txt=$rib
${ev}_death?target_class:txt=fea&target_instance:txt=$fea1
${ev}_birth?target_class:txt=fea&target_instance:txt=$fea2" "$(cat /tmp/w.log)"

# The class name reaches the live instance after the first one died.
call_xrl finder://fea/common/0.1/get_status
expect_eq "class goes to the live instance" 0 $?
finish
