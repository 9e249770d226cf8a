#!/bin/bash
# TACACS+ through the daemon: servers and the live-server file, scripts,
# flag files, pam_unix, and the card manager's states 8 and 10.
set -u
. "$(dirname "$0")/../daemon/lib.sh"
FILE=/tmp/system/tac_live_servers
VELA=/var/log/sandbox/vela_common.log
CARD="finder://login/card_manager_client/0.1/card_state_changed?card:u32=1&state:u32"
call() { call_xrl "$LOGIN_XRL/$1" >/dev/null 2>&1 || fail "$1"; }
pings() { grep -cx "ping -c 3 -i 0.2 -w 1 10.99.0.2|grep '100% packet loss'|wc -l" "$JOURNAL"; }
# pass_over: until no ping line runs and the daemon has read their ends (the
# second call is served a turn after), which also starts a pass that waited.
idle() { ! pgrep -f "ping -c 3 -i 0.2 -w 1" >/dev/null; }
status() { call_xrl "$COMMON_XRL/get_status" >/dev/null; }
pass_over() { wait_until 'idle && status && status && idle' "a pass never ended"; }
# The journal, a line per "|": "p ADDRESS" for a ping, "NAME ARGS" for
# tacacs_NAME.sh. The lines of one pass start together and their shells may
# journal in any order, so each run of ping lines is sorted (set order is byte
# order); the order they were started in shows in their process ids.
journal() {
    local l group=()
    while IFS= read -r l; do
        if [[ $l == "p "* ]]; then group+=("$l"); continue; fi
        [ ${#group[@]} -eq 0 ] || printf '%s\n' "${group[@]}" | LC_ALL=C sort
        group=()
        printf '%s\n' "$l"
    done < <(sed -e "s/^ping -c 3 -i 0.2 -w 1 \(.*\)|grep '100% packet loss'|wc -l$/p \1/" \
                 -e 's,^/vela/bin/shell/tacacs_\([a-z_]*\)\.sh ,\1 ,' "$JOURNAL")
    [ ${#group[@]} -eq 0 ] || printf '%s\n' "${group[@]}" | LC_ALL=C sort
}
file_is() { wait_until "[ \"\$(od -c $FILE)\" = \"\$(printf '$1' | od -c)\" ]" "$2"; }
start_finder
start_login
: >"$JOURNAL"

# 10.99.0.10 answers no more than 10.99.0.3, and sorts before 10.99.0.2 by bytes only.
call "set_tacacs_server?server:ipv4=10.99.0.10"
pass_over
expect_eq "live server file made 0644" 644 "$(stat -c %a $FILE)"
call "set_tacacs_server?server:ipv4=10.99.0.2"
file_is 'server=10.99.0.2 ' "live server file"
pass_over
mtime=$(stat -c %y $FILE)
call "set_tacacs_server?server:ipv4=10.99.0.2"
pass_over
expect_eq "an unchanged pass leaves the file alone" "$mtime" "$(stat -c %y $FILE)"
call "delete_tacacs_server?server:ipv4=10.99.0.10"
pass_over
call "delete_tacacs_server?server:ipv4=10.99.0.2"
pass_over
expect_eq "emptied by the last delete" "0 644" "$(stat -c '%s %a' $FILE)"
for c in disable?disable:bool=true disable?disable:bool=false key?key:txt=s3cr%09et auth_type?auth_type:txt=ascii; do
    call "set_tacacs_$c"; done
S="server server="
expect_eq "journal" "${S}10.99.0.10 |p 10.99.0.10|${S}10.99.0.10 server=10.99.0.2 |p 10.99.0.10|p 10.99.0.2|\
${S}10.99.0.10 server=10.99.0.2 |p 10.99.0.10|p 10.99.0.2|${S}10.99.0.2 |p 10.99.0.2|${S}0.0.0.0 |\
disable true|${S}0.0.0.0 |disable false|key s3cr	et|auth_type login" "$(journal | paste -sd'|')"

# Flag files: the whole content replaced; readable by all, writable by root only.
for c in authorization?enable:bool=false authorization?enable:bool=true accounting?enable:bool=false; do
    call "set_tacacs_enable_$c"; done
expect_eq "flag files" "4 644 true 5 644 false" "$(cd /tmp/system
    for f in tac_enable_authorization tac_enable_accounting; do stat -c '%s %a' $f; cat $f; echo; done | xargs)"

# pam_unix off twice, then on: the file as it was.
cp /etc/pam.d/common-auth /tmp/pam.orig
for d in true true; do call "set_local_authentication?disable:bool=$d"; done
expect_eq "pam_unix off twice" "$(sed 's/.*pam_unix/##&/' /tmp/pam.orig)" "$(cat /etc/pam.d/common-auth)"
call "set_local_authentication?disable:bool=false"
cmp /tmp/pam.orig /etc/pam.d/common-auth || fail "common-auth not restored"

# The card manager sends state 8 once registered: rpsu first, then a pass (their
# times, and state 10 ending them: the daemon's timer unit tests).
call "set_tacacs_server?server:ipv4=10.99.0.2"
pass_over
: >"$JOURNAL"
: >$VELA
xrl_peer --class card_manager --log /tmp/card.log --after register_card_state \
    --send "$CARD=8" >/dev/null 2>&1 &
wait_until '[ "$(pings)" -ge 1 ]' "no pass after state 8"
expect_eq "rpsu before the first pass" rpsu_controller "$(cat $VELA)"
call_xrl "$CARD=10" || fail "state 10"

# Without /tmp/system: the switches and the pass answer success and log which
# file could not be opened; the live list is written once the directory is back.
mv /tmp/system /tmp/system.away
call "set_tacacs_enable_accounting?enable:bool=true"
call "delete_tacacs_server?server:ipv4=10.99.0.2"
call "set_tacacs_server?server:ipv4=10.99.0.2"
pass_over
expect_eq "open errors logged" "1 yes" "$(grep -c 'Open /tmp/system/tac_enable_accounting error\.' /tmp/login.log) \
$(grep -q 'Open /tmp/system/tac_live_servers error\.' /tmp/login.log && echo yes)"
mv /tmp/system.away /tmp/system && rm $FILE
call "set_tacacs_server?server:ipv4=10.99.0.10"
file_is 'server=10.99.0.2 ' "live server file after"

# Thirteen servers, twelve that can't answer (one without a route): one pass
# runs their lines at once, in set order, and the daemon answers meanwhile.
for a in 10.99.0.3 10.99.0.4 10.99.0.5 10.99.0.6 10.99.0.7 10.99.0.8 10.99.0.9 \
         10.99.0.11 10.99.0.12 10.99.0.13 192.0.2.1; do call "set_tacacs_server?server:ipv4=$a"; done
pass_over
: >"$JOURNAL"
call "set_tacacs_server?server:ipv4=10.99.0.2"
started=$(ps -eo pid=,args= | sed -n 's/^ *\([0-9]*\) sh -c ping -c 3 -i 0.2 -w 1 \([^|]*\)|.*/\1 \2/p' |
    sort -n | cut -d' ' -f2 | grep -vx '10.99.0.2\|192.0.2.1')
status=$(call_xrl "$COMMON_XRL/get_status")
expect_eq "answered during the pass" "status:u32=3&reason:txt=running" "$status"
pass_over
servers="10.99.0.10 10.99.0.11 10.99.0.12 10.99.0.13 10.99.0.2 10.99.0.3 10.99.0.4 10.99.0.5 \
10.99.0.6 10.99.0.7 10.99.0.8 10.99.0.9 192.0.2.1"
expect_eq "lines of the pass" "server $(printf 'server=%s ' $servers)|$(printf 'p %s|' $servers)" "$(journal | paste -sd'|')|"
# The answering and the unroutable one may have ended; the silent ones run 1 s.
expect_eq "started in set order" "$(printf '%s\n' $servers | grep -vx '10.99.0.2\|192.0.2.1')" "$started"
expect_eq "only the answering one is live" "server=10.99.0.2 " "$(cat $FILE)"
# Without ping no line answers: the next pass (a delete's) finds none live.
ping=$(command -v ping)
mv "$ping" /tmp/ping.away
call "delete_tacacs_server?server:ipv4=192.0.2.1"
pass_over
mv /tmp/ping.away "$ping"
expect_eq "nothing live without ping" "0" "$(stat -c %s $FILE)"
finish
