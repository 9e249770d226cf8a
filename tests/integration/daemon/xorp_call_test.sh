#!/bin/bash
# XORP's own call_xrl through our finder: run by root it reaches the daemon
# (over the unix socket and over TCP); run by nobody over TCP it is refused
# and nothing runs.  Skipped (77) without real XORP.
set -u
. "$(dirname "$0")/lib.sh"
cd /tmp
XORP_CALL=${LOGIN_XORP_DIR:-}/build/libxipc/call_xrl
[ -x "$XORP_CALL" ] || { echo "no XORP call_xrl at $XORP_CALL"; exit 77; }

start_finder
for pf in x t; do
    XORP_PF=$pf start_login
    expect_eq "status over $pf" "status:u32=3&reason:txt=running" \
        "$("$XORP_CALL" "$COMMON_XRL/get_status" 2>/tmp/xorp_err)"
    "$XORP_CALL" "$LOGIN_XRL/set_hostname?hostname:txt=xorp-$pf" >/dev/null 2>>/tmp/xorp_err \
        || fail "set_hostname over $pf: $(cat /tmp/xorp_err)"
    [ $pf = t ] && break
    call_xrl "$COMMON_XRL/shutdown" || fail "shutdown"
    wait $LOGIN_PID
done
# XORP's call_xrl prints no reason; its status says the target refused.
XORP_PF=t setpriv --reuid nobody --regid nogroup --clear-groups -- \
    "$XORP_CALL" "$LOGIN_XRL/set_hostname?hostname:txt=evil" >/dev/null 2>&1
expect_eq "nobody's call over TCP: exit" 3 $?
expect_eq "commands run" "hostname xorp-x|hostname xorp-t" \
    "$(grep '^hostname ' "$JOURNAL" | paste -sd'|')"
finish
