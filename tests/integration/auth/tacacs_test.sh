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
start_finder
start_login
: >"$JOURNAL"

# 10.99.0.10 answers no more than 10.99.0.3, and sorts before 10.99.0.2 by bytes only.
call "set_tacacs_server?server:ipv4=10.99.0.10"
call "set_tacacs_server?server:ipv4=10.99.0.2"
expect_eq "live server file" "$(printf 'server=10.99.0.2 ' | od -c)" "$(od -c $FILE)"
mtime=$(stat -c %y $FILE)
call "set_tacacs_server?server:ipv4=10.99.0.2"
expect_eq "an unchanged pass leaves the file alone" "$mtime" "$(stat -c %y $FILE)"
call "delete_tacacs_server?server:ipv4=10.99.0.10"
call "delete_tacacs_server?server:ipv4=10.99.0.2"
expect_eq "emptied by the last delete" "0 644" "$(stat -c '%s %a' $FILE)"
for c in disable?disable:bool=true disable?disable:bool=false key?key:txt=s3cr%09et auth_type?auth_type:txt=ascii; do
    call "set_tacacs_$c"; done
# Lines shortened to "p ADDRESS" for a ping, "NAME ARGS" for tacacs_NAME.sh.
S="server server="
expect_eq "journal" "p 10.99.0.10|${S}10.99.0.10 |p 10.99.0.10|p 10.99.0.2|${S}10.99.0.10 server=10.99.0.2 |\
p 10.99.0.10|p 10.99.0.2|${S}10.99.0.10 server=10.99.0.2 |p 10.99.0.2|${S}10.99.0.2 |${S}0.0.0.0 |\
disable true|${S}0.0.0.0 |disable false|key s3cr	et|auth_type login" "$(sed -e "s/^ping -c 3 -i 0.2 -w 1 \(.*\)|grep '100% packet loss'|wc -l$/p \1/" \
    -e 's,^/vela/bin/shell/tacacs_\([a-z_]*\)\.sh ,\1 ,' "$JOURNAL" | paste -sd'|')"

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

# The card manager sends state 8 once registered: rpsu at 5 s, a pass every 10 s.
call "set_tacacs_server?server:ipv4=10.99.0.2"
: >"$JOURNAL"
: >$VELA
xrl_peer --class card_manager --log /tmp/card.log --after register_card_state \
    --send "$CARD=8" >/dev/null 2>&1 &
wait_until '[ "$(pings)" -ge 1 ]' "no pass after state 8"
first=$(date +%s%3N)
expect_eq "rpsu before the first pass" rpsu_controller "$(cat $VELA)"
wait_until '[ "$(pings)" -ge 2 ]' "no second pass"
second=$(date +%s%3N)
[ $((second - first)) -ge 9000 ] || fail "passes $((second - first)) ms apart"
call_xrl "$CARD=10" || fail "state 10"
until [ "$(date +%s%3N)" -gt $((second + 11000)) ] || [ "$(pings)" -gt 2 ]; do sleep 0.2; done
expect_eq "nothing runs after state 10" "2 rpsu_controller" "$(pings) $(cat $VELA)"

# Without /tmp/system: the switches and the pass answer success and log which
# file could not be opened; the live list is written once the directory is back.
mv /tmp/system /tmp/system.away
call "set_tacacs_enable_accounting?enable:bool=true"
call "delete_tacacs_server?server:ipv4=10.99.0.2"
call "set_tacacs_server?server:ipv4=10.99.0.2"
expect_eq "open errors logged" 3 "$(grep -c 'Open /tmp/system/tac_.* error\.' /tmp/login.log)"
mv /tmp/system.away /tmp/system && rm $FILE
call "set_tacacs_server?server:ipv4=10.99.0.10"
expect_eq "live server file after" "server=10.99.0.2 " "$(cat $FILE)"
finish
