#!/bin/bash
# The in-band walk: its lines and rules, XRLs and get_status between steps, failed steps.
set -u
. "$(dirname "$0")/../daemon/lib.sh"
status() { call_xrl "$COMMON_XRL/get_status"; }
walk_lines() { grep '^/sbin/iptables' $JOURNAL; }
# expected_lines OP FIRST LAST: the walk's lines for those interfaces.
expected_lines() {
    for n in $(seq $2 $3); do
        echo "/sbin/iptables $1 INPUT -i vlan.$n -p tcp -m multiport --dport 22,23,8080 -j DROP"
        echo "/sbin/iptables $1 INPUT -i vlan.$n -p udp -m multiport --dport 161 -j DROP"
    done
}
wait_idle() { wait_until '[ "$(status)" = "status:u32=3&reason:txt=running" ]' "$1"; }
start_finder
start_login
# --- A full walk with false: status 2 at once, another XRL served mid-walk.
: > $JOURNAL
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=false" || fail "set_inband_enable answered $?"
expect_eq "status during the walk" "status:u32=2&reason:txt=Inband+Eventloop" "$(status)"
call_xrl "$LOGIN_XRL/add_snmp_access_entry?prefix:ipv4net=10.1.1.0/24" || fail "add during the walk"
wait_idle "the walk with false never ended"
expect_eq "lines of the walk" "$(expected_lines -I 1 128)" "$(walk_lines)"
tail -n 3 $JOURNAL | grep -q '^/sbin/iptables' \
    || fail "the access list lines waited for the end of the walk"
expect_eq "head of the chain after the walk" "$(for n in $(seq 128 -1 1); do
    echo "-A INPUT -i vlan.$n -p udp -m multiport --dports 161 -j DROP"
    echo "-A INPUT -i vlan.$n -p tcp -m multiport --dports 22,23,8080 -j DROP"; done
    echo "$(telnet_update 20)")" "$(chain | head -n 257)"
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=true" || fail "set_inband_enable answered $?"
wait_idle "the walk with true never ended"
expect_eq "in-band rules after true" 0 "$(chain | grep -c vlan)"
# --- A repeated wish adds nothing; many toggles queue at most one walk and
# leave each rule of the last wish exactly once.
: > $JOURNAL
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=false" || fail "set_inband_enable answered $?"
wait_idle "the walk with false never ended"
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=false" || fail "set_inband_enable answered $?"
expect_eq "status after a repeated wish" "status:u32=3&reason:txt=running" "$(status)"
expect_eq "lines of false twice" "$(expected_lines -I 1 128)" "$(walk_lines)"
for i in $(seq 50); do
    call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=true" >/dev/null || fail "toggle $i answered $?"
    call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=false" >/dev/null || fail "toggle $i answered $?"
done
queued_from=$(walk_lines | wc -l)
wait_idle "the walk after the toggles never ended"
[ $(( $(walk_lines | wc -l) - queued_from )) -le 256 ] || fail "more than one walk queued by the toggles"
expect_eq "in-band rules after the toggles, each once" "256 256" \
    "$(chain | grep -c vlan) $(chain | grep vlan | sort -u | wc -l)"
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=true" || fail "set_inband_enable answered $?"
wait_idle "the walk with true never ended"
# --- False, then true after some steps: the walk turns back over the
# interfaces it locked, and no rule is left.
: > $JOURNAL
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=false" || fail "set_inband_enable answered $?"
wait_until '[ $(walk_lines | wc -l) -ge 20 ]' "the walk did not start"
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=true" || fail "set_inband_enable answered $?"
wait_idle "the walk after false and true never ended"
k=$(( $(walk_lines | grep -c -- ' -I ') / 2 ))
expect_eq "lines of false then true after $k steps" \
    "$(expected_lines -I 1 $k; expected_lines -D 1 $k)" \
    "$(walk_lines)"
expect_eq "in-band rules after false then true" 0 "$(chain | grep -c vlan)"
# --- Steps that fail are logged and dropped; the walk ends all the same, and
# the next wish handles those interfaces again.
mv /sbin/iptables /sbin/iptables.away
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=false" || fail "set_inband_enable answered $?"
wait_idle "the walk without /sbin/iptables never ended"
mv /sbin/iptables.away /sbin/iptables
expect_eq "error lines of the steps without /sbin/iptables" 128 "$(grep -c \
    'ERROR .*inband_walk_step.*In-band rules of vlan\.[0-9]* not written: /sbin/iptables failed with exit status 127' /tmp/login.log)"
call_xrl "$LOGIN_XRL/set_inband_enable?enable:bool=false" || fail "set_inband_enable answered $?"
wait_idle "the walk after /sbin/iptables came back never ended"
expect_eq "in-band rules after the failed walk" 256 "$(chain | grep -c vlan)"
kill $FINDER_PID
finish
