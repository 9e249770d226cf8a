#!/bin/bash
# The daemon killed with SIGKILL at random moments of password changes and
# class moves, ROUNDS (default 100) times: once it is back, /etc/shadow, passwd
# and group are whole, other accounts' lines unchanged, the user's password
# one that was set, and the next call goes through.
set -u
. "$(dirname "$0")/../daemon/lib.sh"
rounds=${1:-100}

others() {  # every line of the three files but the user's own
    grep -hv '^crash:' /etc/shadow /etc/passwd /etc/group | sed '/^xorp:/s/,\?crash//'
}
calls() {  # password changes and class moves until killed
    local i=0
    while :; do
        i=$((i + 1))
        call_xrl "$LOGIN_XRL/set_encrypted_password?user:txt=crash&password:txt=h$((i % 2))" 2>/dev/null
        call_xrl "$LOGIN_XRL/set_user_class?user:txt=crash&user_class:txt=$([ $((i % 2)) = 0 ] && echo read-only || echo super-user)" 2>/dev/null
    done
}

start_finder
start_login
call_xrl "$LOGIN_XRL/create_user?user:txt=crash&user_class:txt=read-only" >/dev/null
call_xrl "$LOGIN_XRL/set_encrypted_password?user:txt=crash&password:txt=h0" >/dev/null
before=$(others)
for round in $(seq "$rounds"); do
    calls & caller=$!
    sleep "0.$(printf '%03d' $((RANDOM % 250)))"
    kill -KILL $LOGIN_PID; kill $caller; wait $caller $LOGIN_PID 2>/dev/null
    wait_until '! pidof useradd userdel addgroup groupadd >/dev/null' "tools still running"
    start_login  # which finishes a class move cut short
    expect_eq "round $round: other lines" "$before" "$(others)"
    case "$(grep '^crash:' /etc/shadow | cut -d: -f2)" in
        h0|h1) ;;
        *) fail "round $round: shadow line of crash: $(grep '^crash:' /etc/shadow)" ;;
    esac
    for f in shadow passwd group; do
        [ "$(tail -c1 /etc/$f | od -An -c | tr -d ' ')" = '\n' ] || fail "round $round: /etc/$f cut short"
    done
    [ $failures = 0 ] || break
done
call_xrl "$LOGIN_XRL/set_encrypted_password?user:txt=crash&password:txt=h2" >/dev/null ||
    fail "the call after the last kill failed"
expect_eq "password after the last kill" h2 "$(grep '^crash:' /etc/shadow | cut -d: -f2)"
echo "$rounds kills"
finish
