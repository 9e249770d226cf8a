#!/bin/bash
# The daemon as the switch runs it: started with the finder, driven through
# call_xrl. Checks the limit rules it installs at start-up and on command,
# the answers of the common interface, the failure answers, and shutdown.
set -u
. "$(dirname "$0")/lib.sh"

start_finder
start_login

# --- Start-up: nine commands, in this order, and five rules.
expect_eq "commands at start-up" \
"iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH
iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name SSH -j DROP
iptables -I INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above 15 -j REJECT
iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name SSH -j DROP
iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH
iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH
iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name SSH -j DROP
iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --set --name TELNET
iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name TELNET -j DROP" \
"$(cat $JOURNAL)"

expect_eq "chain at start-up" \
"$(telnet_update 20; telnet_set; ssh_update 20; ssh_set; ssh_connection 15)" \
"$(chain)"

# --- Later changes through XRL: each pair moves to the head.
: > $JOURNAL
call_xrl "$LOGIN_XRL/set_ssh_rate_limit?limit:u32=10" || fail "set_ssh_rate_limit answered $?"
expect_eq "chain after ssh rate 10" \
"$(ssh_update 10; ssh_set; telnet_update 20; telnet_set; ssh_connection 15)" \
"$(chain)"

call_xrl "$LOGIN_XRL/set_telnet_rate_limit?limit:u32=5" || fail "set_telnet_rate_limit answered $?"
expect_eq "chain after telnet rate 5" \
"$(telnet_update 5; telnet_set; ssh_update 10; ssh_set; ssh_connection 15)" \
"$(chain)"

: > $JOURNAL
call_xrl "$LOGIN_XRL/set_ssh_connection_limit?limit:u32=4" || fail "set_ssh_connection_limit answered $?"
expect_eq "commands of set_ssh_connection_limit" \
"iptables -D INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above 15 -j REJECT
iptables -I INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above 4 -j REJECT
iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount 10 --rttl --name SSH -j DROP
iptables -D INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH
iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --set --name SSH
iptables -I INPUT -p tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount 10 --rttl --name SSH -j DROP" \
"$(cat $JOURNAL)"
expect_eq "chain after ssh connection 4" \
"$(ssh_update 10; ssh_set; ssh_connection 4; telnet_update 5; telnet_set)" \
"$(chain)"
grep -q 'INFO .*+[0-9]* login_main.cc set_ssh_connection_limit.*Success' /tmp/login.log \
    || fail "set_ssh_connection_limit logged no info line with Success"

# --- The common interface.
expect_eq "get_target_name" "name:txt=login" "$(call_xrl "$COMMON_XRL/get_target_name")"
expect_eq "get_version" "version:txt=0.1" "$(call_xrl "$COMMON_XRL/get_version")"
expect_eq "get_status" "status:u32=3&reason:txt=running" "$(call_xrl "$COMMON_XRL/get_status")"

# --- Failure answers: exit 3 and the note on stderr.
long64=$(printf 'a%.0s' $(seq 64))
good63=$(printf 'b%.0s' $(seq 59))-1.c
expect_failure "64-byte host name" "System set hostname failed, max length is 63." \
    "$LOGIN_XRL/set_hostname?hostname:txt=$long64"
# The length is tested before the bytes.
expect_failure "64-byte host name with a blank" "System set hostname failed, max length is 63." \
    "$LOGIN_XRL/set_hostname?hostname:txt=a+${long64:2}"
expect_failure "host name with a blank" "System set hostname failed." \
    "$LOGIN_XRL/set_hostname?hostname:txt=sw+1"
expect_failure "host name with a slash" "System set hostname failed." \
    "$LOGIN_XRL/set_hostname?hostname:txt=sw/1"
call_xrl "$LOGIN_XRL/set_hostname?hostname:txt=$good63" \
    || fail "63 good bytes refused"
expect_failure "the empty host name" "System set hostname failed." \
    "$LOGIN_XRL/set_hostname?hostname:txt="

# A limit operation whose check fails: without /bin/sh, system() cannot start
# the shell and leaves errno set, so the fixed text comes back.
mv /bin/sh /bin/sh.away
if shell_failure_seen; then
    expect_failure "set_telnet_rate_limit without a shell" "System set telnet rete limit failed." \
        "$LOGIN_XRL/set_telnet_rate_limit?limit:u32=7"
    expect_failure "set_ssh_connection_limit without a shell" "System set ssh connection limit failed." \
        "$LOGIN_XRL/set_ssh_connection_limit?limit:u32=8"
else
    call_xrl "$LOGIN_XRL/set_telnet_rate_limit?limit:u32=7"
    call_xrl "$LOGIN_XRL/set_ssh_connection_limit?limit:u32=8"
fi
mv /bin/sh.away /bin/sh
# The failed calls were remembered: the next change deletes with 7 and 8.
: > $JOURNAL
call_xrl "$LOGIN_XRL/set_telnet_rate_limit?limit:u32=6" || fail "set_telnet_rate_limit after the shell came back"
expect_eq "delete after a failed check" \
"iptables -D INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount 7 --rttl --name TELNET -j DROP" \
"$(head -1 $JOURNAL)"

# Form P answers success whatever happened.
call_xrl "$LOGIN_XRL/add_snmp_access_entry?prefix:ipv4net=10.0.0.0/8" \
    || fail "add_snmp_access_entry did not answer success"

# A fixed text followed by the reason.
expect_failure "set_encrypted_password with an empty user" \
    "Set password failed, User is an empty string" \
    "$LOGIN_XRL/set_encrypted_password?user:txt=&password:txt=x"
expect_failure "create_user with an empty user" \
    "Create user failed, User is an empty string" \
    "$LOGIN_XRL/create_user?user:txt=&user_class:txt=admin"

# --- Shutdown: the answer, then the process ends with 0; rules stay.
before=$(chain)
call_xrl "$COMMON_XRL/shutdown" || fail "shutdown answered $?"
wait $LOGIN_PID
expect_eq "exit status of login" 0 $?
expect_eq "rules stay after shutdown" "$before" "$(chain)"

kill $FINDER_PID
finish
