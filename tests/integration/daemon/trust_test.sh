#!/bin/bash
# A local user (nobody) beside the root daemon: a look-alike target, stopping
# the finder, a finder of its own, and calls over TCP all fail, and the
# daemon keeps doing its work for root.
set -u
. "$(dirname "$0")/lib.sh"
cd /tmp

OURS="127.0.0.1:19999"
DENIED="permission denied: uid $(id -u nobody) is neither root nor in group xorp"

# reap PID NAME: waits 10 s at most for PID to end; one that does not is a
# failure and is killed, so that a failing run ends too.
reap() {
    local tries=0
    while [ -e /proc/$1 ] && ! grep -q '^State:[[:space:]]*Z' /proc/$1/status 2>/dev/null; do
        tries=$((tries + 1))
        if [ $tries -gt 100 ]; then
            fail "$2 did not end"
            kill -9 $1
            break
        fi
        sleep 0.1
    done
    wait $1 2>/dev/null
}

# stop_login: the daemon stops when told, or is killed.
stop_login() { call_xrl "$COMMON_XRL/shutdown" || { fail "shutdown"; kill -9 $LOGIN_PID; }; reap $LOGIN_PID login; }

# A finder of nobody's: the daemon and call_xrl refuse it, and the daemon
# says so once while it keeps trying; then it registers with root's finder.
"${NOBODY[@]}" xorp_finder -v 2>/tmp/nobody_finder.log &
NOBODY_FINDER=$!
wait_until "grep -q 'listening' /tmp/nobody_finder.log" "nobody's finder never listened"
login >/tmp/login.log 2>&1 &
LOGIN_PID=$!
refusal="finder at $OURS is run by uid $(id -u nobody), not trusted"
err=$(call_xrl "$COMMON_XRL/get_status" 2>&1 >/dev/null)
expect_eq "call_xrl and nobody's finder" "1 call_xrl: $refusal" "$? $err"
wait_until "[ \$(grep -c 'accepted' /tmp/nobody_finder.log) -ge 5 ]" \
    "the daemon stopped trying nobody's finder"
kill $NOBODY_FINDER; reap $NOBODY_FINDER "nobody's finder"
expect_eq "nobody's finder resolved nothing" "" \
    "$(grep -E 'registered|enabled' /tmp/nobody_finder.log)"
start_finder
wait_until "call_xrl $COMMON_XRL/get_status >/dev/null 2>&1" "login never answered"
expect_eq "refusal logged once" 1 "$(grep -cF "$refusal" /tmp/login.log)"
call_xrl "$LOGIN_XRL/set_hostname?hostname:txt=after-finder" || fail "set_hostname"
stop_login

# A look-alike registered first (and a module look-alike): root's XRLs reach
# the daemon only; the look-alikes get nothing and are not called by name.
"${NOBODY[@]}" xrl_peer --class login --log /tmp/fake_login.log >/tmp/fake_login.out 2>&1 &
wait_until "grep -q '^ready ' /tmp/fake_login.out" "look-alike never registered"
fake=$(sed -n 's/^ready //p' /tmp/fake_login.out)
"${NOBODY[@]}" xrl_peer --class card_manager --log /tmp/fake_cm.log >/tmp/fake_cm.out 2>&1 &
wait_until "grep -q '^ready ' /tmp/fake_cm.out" "card manager look-alike never registered"
xrl_peer --class card_manager --log /tmp/cm.log >/dev/null 2>&1 &
start_login
call_xrl "$LOGIN_XRL/set_tacacs_key?key:txt=s3cret" || fail "set_tacacs_key"
grep -qxF "/vela/bin/shell/tacacs_key.sh s3cret" "$JOURNAL" || fail "tacacs key not set"
call_xrl "$LOGIN_XRL/set_logging_level?level:txt=error" || fail "set_logging_level"
wait_until "grep -q 'level:txt=error' /tmp/cm.log" "the card manager never got the level"
expect_eq "look-alike got nothing" "" "$(cat /tmp/fake_login.log /tmp/fake_cm.log)"
# The look-alike's end does not stop the tracking of the real module.
kill "$(pgrep -u nobody -f 'class card_manager')"
call_xrl "$LOGIN_XRL/set_logging_level?level:txt=info" || fail "set_logging_level"
wait_until "grep -q 'level:txt=info' /tmp/cm.log" "the card manager is no longer followed"
err=$(call_xrl "$fake/common/0.1/get_status" 2>&1)
[[ $err == "Failed.  Reason: 210 Transport failed cannot connect to the target: target at unix://:var:tmp:xrl."*" is run by uid $(id -u nobody), not trusted (\"finder://$fake/common/0.1/get_status\")" ]] ||
    fail "calling a look-alike by name: $err"

# Stopping the finder: refused to nobody, with the reason.
err=$("${NOBODY[@]}" call_xrl finder://finder/common/0.1/shutdown 2>&1)
expect_eq "finder shutdown by nobody" \
    "3 Failed.  Reason: 102 Command failed $DENIED (\"finder://finder/common/0.1/shutdown\")" "$? $err"
# What follows needs the finder: without it, the run ends here.
kill -0 $FINDER_PID 2>/dev/null || { fail "the finder stopped"; finish; }
call_xrl "$LOGIN_XRL/set_hostname?hostname:txt=after-shutdown" || fail "set_hostname"
stop_login

# Over TCP: nobody is answered with the reason and nothing runs; a member of
# xorp and root are served.  Over the unix socket nobody cannot connect.
useradd -M -G xorp op1 || fail "useradd"
XORP_PF=t start_login
err=$("${NOBODY[@]}" call_xrl "$LOGIN_XRL/set_hostname?hostname:txt=evil" 2>&1)
expect_eq "TCP call by nobody" \
    "3 Failed.  Reason: 102 Command failed $DENIED (\"$LOGIN_XRL/set_hostname?hostname:txt=evil\")" "$? $err"
setpriv --reuid op1 --regid op1 --init-groups call_xrl "$LOGIN_XRL/set_hostname?hostname:txt=by-op1" \
    || fail "TCP call by a member of xorp"
call_xrl "$LOGIN_XRL/set_hostname?hostname:txt=by-root" || fail "TCP call by root"
stop_login
start_login
err=$("${NOBODY[@]}" call_xrl "$LOGIN_XRL/set_hostname?hostname:txt=evil" 2>&1)
expect_eq "unix call by nobody: exit" 3 $?
expect_contains "unix call by nobody" "210 Transport failed cannot connect to the target: Permission denied" "$err"
expect_eq "commands run" "hostname after-finder|hostname after-shutdown|hostname by-op1|hostname by-root" \
    "$(grep '^hostname ' "$JOURNAL" | paste -sd'|')"
finish
