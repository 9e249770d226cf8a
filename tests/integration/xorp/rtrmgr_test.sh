#!/bin/bash
# The router manager starts the daemon from the template and a boot file that
# touches every group of settings; xorpsh changes and deletes settings and
# runs the operational commands; stopping the router manager ends the daemon.
set -u
. "$(dirname "$0")/lib.sh"
usermod -aG xorp root    # xorpsh's configuration mode; rtrmgr reads it at start

# The daemon's lines without the in-band walk's, rtrmgr's and the pings.
journal() {
    grep -v -e '-i vlan\.' -e 'xorp-tmp-' -e "$XORPSH" -e '^ping ' $JOURNAL
}
pings() { grep '^ping ' $JOURNAL | sed 's/^ping -c 3 -i 0.2 -w 1 \([^|]*\)|.*/\1/' | sort | xargs; }

start_rtrmgr "$(dirname "$0")/boot.conf"
wait_until 'grep -q "No more tasks to run" /tmp/rtrmgr.log' "the boot configuration was never committed"
wait_until '[ "$(iptables -S INPUT | grep -c -- "-i vlan\.")" = 256 ]' "the in-band walk never ended"
# A pass for each server set; the second may have waited for the first.
wait_until '[ "$(cat /tmp/system/tac_live_servers 2>/dev/null)" = "server=10.99.0.2 " ] &&
    [ "$(pings)" = "10.99.0.2 10.99.0.2 10.99.0.3" ] && ! pgrep -f "ping -c 3" >/dev/null' "the two passes never ended"

expect_eq "commands of the start and the boot configuration" "$(startup_lines)
hostname sw-boot
$(create_lines alice; create_lines carol "-G xorp "; ntp_lines 10.99.0.2)
/vela/bin/shell/syslog_host.sh 10.99.0.2
/vela/bin/shell/syslog_file_filename.sh disk
sed -i 's/\\\\(.*\\\\)pam_unix\\\\(.*\\\\)/#\\\\1pam_unix\\\\2/g' /etc/pam.d/common-auth
/vela/bin/shell/tacacs_disable.sh false
/vela/bin/shell/tacacs_server.sh server=0.0.0.0 
/vela/bin/shell/tacacs_key.sh k1
/vela/bin/shell/tacacs_auth_type.sh login
/vela/bin/shell/tacacs_server.sh server=10.99.0.2 
/vela/bin/shell/tacacs_server.sh server=10.99.0.2 server=10.99.0.3 
/vela/bin/shell/telnet_disable.sh true
/vela/bin/shell/telnet_connection-limit.sh 4
$(rate_pair 23 TELNET 20 5)
/vela/bin/shell/ssh_disable.sh false
/vela/bin/shell/ssh_root-login.sh no
/vela/bin/shell/ssh_protocol-version.sh 2
$(connlimit D 15; connlimit I 3; rate_pair 22 SSH 20 20)
$(rate_pair 22 SSH 20 7)
pkill -9 vela_sh_remote
/vela/bin/vela_sh_remote > /tmp/log/remote_config.log &
iptables -A INPUT $WEB -j DROP
$(add_lines iptables "$WEB" 10.3.0.0/16; add_lines iptables "$SNMP" 10.1.0.0/16
  add_lines iptables "$REMOTE" 10.2.0.0/16; echo "ip6tables -A INPUT $REMOTE -j DROP"
  add_lines ip6tables "$REMOTE" 2001:db8::/32)" "$(journal)"
expect_eq "level and facility" "level:txt=info facility:u32=16" \
    "$(call_xrl "$LOGIN_XRL/get_logging_level") $(call_xrl "$LOGIN_XRL/get_logging_facility")"
expect_eq "banners" "Welcome
Authorized use only" "$(cat /etc/motd /etc/issue)"
expect_eq "the password hash byte for byte, the locked user" 'alice:$6$salt$Ab.c/d:
carol:*:' "$(grep -E '^(alice|carol):' /etc/shadow | cut -d: -f1-2 | sed 's/$/:/')"
expect_eq "TACACS+ files" "true|false|server=10.99.0.2 " "$(cd /tmp/system &&
    cat tac_enable_authorization; echo -n '|'; cat tac_enable_accounting; echo -n '|'; cat tac_live_servers)"
grep -q "send module rtrmgr logging facility failed" /tmp/rtrmgr.log ||
    fail "the birth of XORP's rtrmgr was not followed (no facility sent to it)"

# xorpsh: a class move, a new user, a deleted user, deleted settings.
: >$JOURNAL
xorpsh_run configure "set system user alice class super-user" "set system user bob class read-only" \
    "delete system user carol" "delete system ntp-server 10.99.0.2" "delete system ssh rate-limit" \
    "delete system login-announcement" "delete system remote-config" \
    "delete system access-list snmp 10.1.0.0/16" "set system host-name sw-new" commit
grep -q "^OK" /tmp/xorpsh.out || fail "xorpsh commit: $(cat /tmp/xorpsh.out)"
expect_eq "commands of the xorpsh commit" "hostname sw-new
userdel -f alice
addgroup -q alice
useradd -d /tmp/home/alice -l -s /usr/bin/velash_pty.sh -G xorp -g alice alice
userdel -fr carol
$(create_lines bob)
/etc/init.d/ntp stop
$(rate_pair 22 SSH 7 20)
pkill -9 vela_sh_remote
iptables -D INPUT -p tcp --dport 8080 -s 10.3.0.0/16 -j ACCEPT
iptables -D INPUT -p tcp --dport 8080 -j DROP
iptables -D INPUT -p udp --dport 161 -s 10.1.0.0/16 -j ACCEPT
iptables -D INPUT -p udp --dport 161 -j DROP" "$(journal)"
expect_eq "accounts after the commit" 'alice:$6$salt$Ab.c/d
bob:!
xorp:x:995:root,alice' "$(grep -E '^(alice|bob|carol):' /etc/shadow | cut -d: -f1-2; grep '^xorp:' /etc/group | sed 's/:[0-9]*:/:995:/')"
expect_eq "emptied announcement, ntp file" "0|" "$(stat -c %s /etc/motd)|$(cat /etc/ntp-server)"

# Operational commands.
: >$JOURNAL
xorpsh_run "show system users" "clear arp 10.0.0.1" "clear neighbours 2001:db8::1" "show system status"
for line in "alice                super-user" "bob                  read-only" "status:u32=3&reason:txt=running"; do
    grep -qF "$line" /tmp/xorpsh.out || fail "xorpsh output lacks '$line': $(cat /tmp/xorpsh.out)"
done
expect_eq "commands of the clear commands" "/vela/bin/shell/clear_arp.sh  10.0.0.1
/vela/bin/shell/clear_neigh6.sh  2001:db8::1" "$(journal)"

# Stopping the router manager ends the daemon normally.
LOGIN_PID=$(pgrep -x login)
kill -TERM $RTRMGR_PID
wait $RTRMGR_PID
wait_until '! kill -0 $LOGIN_PID 2>/dev/null' "login outlived the router manager"
grep -q "Module normal exit: login" /tmp/rtrmgr.log || fail "login did not exit normally under rtrmgr"
finish
