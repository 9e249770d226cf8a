#!/bin/bash
# XORP's own call_xrl against our finder and daemon (over the unix socket and
# TCP, as root and as nobody), and our daemon and call_xrl against XORP's own
# finder: the same answers both ways.
set -u
. "$(dirname "$0")/lib.sh"

# ask_both NAME XRL EXPECTED: our call_xrl and XORP's print the same answer.
ask_both() {
    expect_eq "$1, our call_xrl" "$3" "$(call_xrl "$2" 2>&1)"
    expect_eq "$1, XORP's call_xrl" "$3" "$("$XORP_CALL_XRL" "$2" 2>&1)"
}

# Our finder and daemon, called by XORP's call_xrl.
start_finder
start_login
ask_both "status at our finder" "$COMMON_XRL/get_status" "status:u32=3&reason:txt=running"
: >$JOURNAL
"$XORP_CALL_XRL" "$LOGIN_XRL/set_ntp_server?server:ipv4=10.99.0.2" >/dev/null 2>&1 ||
    fail "XORP's call_xrl: set_ntp_server failed"
err=$("$XORP_CALL_XRL" "$LOGIN_XRL/set_hostname?hostname:txt=my+switch" 2>&1 >/dev/null)
expect_eq "XORP's call_xrl: a refused host name fails" 1 $(($? != 0))
expect_contains "XORP's call_xrl: the refusal" "102 Command failed System set hostname failed." "$err"
expect_eq "commands of XORP's calls" "$(ntp_lines 10.99.0.2)" "$(cat $JOURNAL)"
"$XORP_CALL_XRL" "$COMMON_XRL/shutdown" >/dev/null 2>&1
wait $LOGIN_PID
expect_eq "exit status after XORP's shutdown call" 0 $?

# Over TCP: root's call runs; nobody's is refused (XORP's call_xrl prints no
# reason, its status says it) and runs nothing.
XORP_PF=t start_login
: >$JOURNAL
"$XORP_CALL_XRL" "$LOGIN_XRL/set_hostname?hostname:txt=xorp-t" >/dev/null 2>&1 ||
    fail "XORP's call_xrl over TCP: set_hostname failed"
XORP_PF=t "${NOBODY[@]}" \
    "$XORP_CALL_XRL" "$LOGIN_XRL/set_hostname?hostname:txt=evil" >/dev/null 2>&1
expect_eq "nobody's call over TCP: exit, commands" "3 hostname xorp-t" "$? $(cat $JOURNAL)"
call_xrl "$COMMON_XRL/shutdown" >/dev/null
wait $LOGIN_PID
kill $FINDER_PID; wait $FINDER_PID 2>/dev/null

# XORP's finder; our daemon registers there and our call_xrl finds it.
start_xorp_finder
start_login
ask_both "status at XORP's finder" "$COMMON_XRL/get_status" "status:u32=3&reason:txt=running"
ask_both "the level read back" "$LOGIN_XRL/get_logging_level" "level:txt=trace"
call_xrl "$LOGIN_XRL/set_hostname?hostname:txt=sw-xorp" || fail "set_hostname at XORP's finder"
expect_eq "host name set through XORP's finder" sw-xorp "$(hostname)"
call_xrl "$COMMON_XRL/shutdown"
wait $LOGIN_PID
expect_eq "exit status at XORP's finder" 0 $?
finish
