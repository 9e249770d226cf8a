#!/bin/bash
# The daemon with the finder, driven through call_xrl: the limit rules at
# start-up and on command, the failure answers, and shutdown.
set -u
. "$(dirname "$0")/lib.sh"

start_finder
start_login

# --- Start-up: nine commands, in this order, and five rules.
expect_eq "commands at start-up" "$(startup_lines)" "$(cat $JOURNAL)"

expect_eq "chain at start-up" \
"$(telnet_update 20; telnet_set; ssh_update 20; ssh_set; ssh_connection 15)" \
"$(chain)"

# --- A later change: the SSH pair follows the connection rule, with the rate set before.
call_xrl "$LOGIN_XRL/set_ssh_rate_limit?limit:u32=10" || fail "set_ssh_rate_limit answered $?"
: > $JOURNAL
call_xrl "$LOGIN_XRL/set_ssh_connection_limit?limit:u32=4" || fail "set_ssh_connection_limit answered $?"
expect_eq "commands of set_ssh_connection_limit" \
    "$(connlimit D 15; connlimit I 4; rate_pair 22 SSH 10 10)" "$(cat $JOURNAL)"
expect_eq "chain after ssh connection 4" \
"$(ssh_update 10; ssh_set; ssh_connection 4; telnet_update 20; telnet_set)" \
"$(chain)"

# --- Boundaries: a hit count the firewall can't take is refused before anything
# runs, the rule in force staying; the connection limit takes any u32, unsigned.
for limit in 2147483647 2147483648 4294967295; do
    before=$(chain)
    : > $JOURNAL
    expect_failure "set_ssh_rate_limit $limit" "System set ssh rate limit failed." \
        "$LOGIN_XRL/set_ssh_rate_limit?limit:u32=$limit"
    expect_failure "set_telnet_rate_limit $limit" "System set telnet rete limit failed." \
        "$LOGIN_XRL/set_telnet_rate_limit?limit:u32=$limit"
    expect_eq "lines of the refused rate limits $limit" "" "$(cat $JOURNAL)"
    expect_eq "chain after the refused rate limits $limit" "$before" "$(chain)"
    call_xrl "$LOGIN_XRL/set_ssh_connection_limit?limit:u32=$limit" || fail "connection limit $limit answered $?"
    expect_eq "chain with the connection limit $limit" \
        "$(ssh_update 10; ssh_set; ssh_connection $limit; telnet_update 20; telnet_set)" "$(chain)"
done
expect_eq "reasons of the refused rate limits" 6 "$(grep -c \
    'ERROR .*rate limit [0-9]* is above 65535, the highest hit count the firewall takes' /tmp/login.log)"
call_xrl "$LOGIN_XRL/set_telnet_rate_limit?limit:u32=65535" || fail "telnet rate limit 65535 answered $?"
expect_eq "head after the highest hit count" "$(telnet_update 65535)" "$(chain | head -1)"

# --- Without /bin/sh, system() leaves errno set: the limit check fails, and the
# failed call is remembered, so the next change deletes with 7. Under the
# emulator the shell's status says it: the limit in force stays.
mv /bin/sh /bin/sh.away
expect_failure "set_telnet_rate_limit without a shell" "System set telnet rete limit failed." \
    "$LOGIN_XRL/set_telnet_rate_limit?limit:u32=7"
mv /bin/sh.away /bin/sh
remembered=7
shell_failure_seen || remembered=65535
: > $JOURNAL
call_xrl "$LOGIN_XRL/set_telnet_rate_limit?limit:u32=6" || fail "set_telnet_rate_limit after the shell came back"
expect_eq "delete after a failed check" "$(rate D 23 TELNET $remembered)" "$(head -1 $JOURNAL)"

# --- Shutdown: the answer, then the process ends with 0; rules stay.
before=$(chain)
call_xrl "$COMMON_XRL/shutdown" || fail "shutdown answered $?"
wait $LOGIN_PID
expect_eq "exit status of login" 0 $?
expect_eq "rules stay after shutdown" "$before" "$(chain)"

kill $FINDER_PID
finish
