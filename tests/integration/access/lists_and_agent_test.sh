#!/bin/bash
# Service scripts, the three access lists and the agent: lines run, rules, the agent's life.
set -u
. "$(dirname "$0")/../daemon/lib.sh"
ok() { call_xrl "$LOGIN_XRL/$1" >/dev/null || fail "$1: answered $?"; }
agent_runs() { pgrep -x vela_sh_remote >/dev/null; }
limits="$(telnet_update 20; telnet_set; ssh_update 20; ssh_set; ssh_connection 15)"
remote() { echo "-A INPUT -s $1 -p tcp -m multiport --dports 22,23 -j ACCEPT"; }
remote_drop="-A INPUT -p tcp -m multiport --dports 22,23 -j DROP"
chain6() { ip6tables -S INPUT | grep -v '^-P '; }
snmp() { echo "-A INPUT -s $1 -p udp -m udp --dport 161 -j ACCEPT"; }
snmp_drop="-A INPUT -p udp -m udp --dport 161 -j DROP"
web() { echo "-A INPUT -s $1 -p tcp -m tcp --dport 8080 -j ACCEPT"; }
web_drop="-A INPUT -p tcp -m tcp --dport 8080 -j DROP"
start_finder
start_login
# --- Service scripts: one line each, values as text; shell bytes refused.
: > $JOURNAL
for call in "set_telnet_connection_limit?limit:u32=4294967295" "set_telnet_connection_limit?limit:u32=0" \
    "set_telnet_disable?disable:bool=true" "set_ssh_disable?disable:bool=false" \
    "set_ssh_root_login?root_login:txt=" "set_ssh_protocol_version?version:txt=2+1"; do ok "$call"; done
expect_eq "service script lines" \
"/vela/bin/shell/telnet_connection-limit.sh 4294967295
/vela/bin/shell/telnet_connection-limit.sh 0
/vela/bin/shell/telnet_disable.sh true
/vela/bin/shell/ssh_disable.sh false
/vela/bin/shell/ssh_root-login.sh 
/vela/bin/shell/ssh_protocol-version.sh 2 1" "$(cat $JOURNAL)"
if shell_failure_seen; then
    mv /bin/sh /bin/sh.away; expect_failure "telnet disable without a shell" \
        "System set telnet disable failed." "$LOGIN_XRL/set_telnet_disable?disable:bool=false"; mv /bin/sh.away /bin/sh
fi
# --- The whole chain: limits at the head, each list in force at the tail.
: > $JOURNAL
ok "add_remote_access_entry_ipv4?prefix:ipv4net=10.0.0.0/8"
ok "add_snmp_access_entry?prefix:ipv4net=10.1.1.0/24"
ok "enable_remote_config"
ok "add_web_access_entry?prefix:ipv4net=10.2.0.0/16"
expect_eq "list and agent lines" "$(add_lines iptables "$REMOTE" 10.0.0.0/8
    echo "ip6tables -A INPUT $REMOTE -j DROP"; add_lines iptables "$SNMP" 10.1.1.0/24
    echo "pkill -9 vela_sh_remote"; echo "/vela/bin/vela_sh_remote > /tmp/log/remote_config.log &"
    echo "iptables -A INPUT $WEB -j DROP"; add_lines iptables "$WEB" 10.2.0.0/16)" "$(cat $JOURNAL)"
expect_eq "chain of the lists" "$(echo "$limits"; remote 10.0.0.0/8; echo "$remote_drop"
    snmp 10.1.1.0/24; echo "$snmp_drop"; web 10.2.0.0/16; echo "$web_drop")" "$(chain)"
expect_eq "IPv6 closed by an IPv4 entry" "$remote_drop" "$(chain6)"
wait_until agent_runs "the agent is not running after enable_remote_config"
expect_eq "daemon sockets held by the agent" 0 \
    "$(ls -l /proc/$(pgrep -x vela_sh_remote)/fd | grep -c socket:)"
# --- IPv6 entries go to ip6tables; the set in byte order (10 < 2001 < 9).
: > $JOURNAL
ok "add_remote_access_entry_ipv4?prefix:ipv4net=9.0.0.0/8"
ok "add_remote_access_entry_ipv6?prefix:ipv6net=2001:db8::/32"
expect_eq "lines of an IPv6 entry" \
    "$(add_lines iptables "$REMOTE" 9.0.0.0/8; add_lines ip6tables "$REMOTE" 2001:db8::/32)" "$(cat $JOURNAL)"
expect_eq "remote rules with the IPv6 entry" \
    "$(remote 10.0.0.0/8; remote 9.0.0.0/8; echo "$remote_drop")" "$(chain | grep -- '22,23')"
expect_eq "IPv6 rules" "$(remote 2001:db8::/32; echo "$remote_drop")" "$(chain6)"
: > $JOURNAL
ok "clear_remote_access_list"
expect_eq "clear of the remote list" \
"iptables -D INPUT -p tcp -m multiport --dport 22,23 -s 10.0.0.0/8 -j ACCEPT
ip6tables -D INPUT -p tcp -m multiport --dport 22,23 -s 2001:db8::/32 -j ACCEPT
iptables -D INPUT -p tcp -m multiport --dport 22,23 -s 9.0.0.0/8 -j ACCEPT
iptables -D INPUT -p tcp -m multiport --dport 22,23 -j DROP
ip6tables -D INPUT -p tcp -m multiport --dport 22,23 -j DROP" "$(cat $JOURNAL)"
expect_eq "remote rules after clear" "" "$(chain | grep -- '22,23'; chain6)"
# --- An IPv6 entry alone closes IPv4 too; its delete opens both.
ok "add_remote_access_entry_ipv6?prefix:ipv6net=2001:db8:1::/48"
expect_eq "IPv4 closed by an IPv6 entry" "$remote_drop" "$(chain | grep -- '22,23')"
ok "delete_remote_access_entry_ipv6?prefix:ipv6net=2001:db8:1::/48"
expect_eq "remote rules after the last delete" "" "$(chain | grep -- '22,23'; chain6)"
# --- A second add of a prefix runs nothing; its delete leaves no rule behind.
while read -r add del prefix; do
    ok "$add?prefix:$prefix"
    : > $JOURNAL
    ok "$add?prefix:$prefix"
    expect_eq "lines of a second $add" "" "$(cat $JOURNAL)"
    ok "$del?prefix:$prefix"
    expect_eq "rules after $del" 0 "$( (chain; chain6) | grep -c -- "-s ${prefix#*=}")"
done <<'EOF'
add_snmp_access_entry delete_snmp_access_entry ipv4net=10.1.1.0/24
add_web_access_entry delete_web_access_entry ipv4net=10.3.0.0/16
add_remote_access_entry_ipv4 delete_remote_access_entry_ipv4 ipv4net=10.4.0.0/16
add_remote_access_entry_ipv6 delete_remote_access_entry_ipv6 ipv6net=2001:db8:4::/48
EOF
: > $JOURNAL
ok "delete_snmp_access_entry?prefix:ipv4net=192.0.2.0/24"
expect_eq "delete of an unknown prefix" \
"iptables -D INPUT -p udp --dport 161 -s 192.0.2.0/24 -j ACCEPT
iptables -D INPUT -p udp --dport 161 -j DROP" "$(cat $JOURNAL)"
ok "add_snmp_access_entry?prefix:ipv4net=10.1.1.0/24"
# --- The web list keeps its closing rule; a second enable adds another,
# and disable takes away one of them and every entry's rule with the agent.
ok "delete_web_access_entry?prefix:ipv4net=10.2.0.0/16"
ok "enable_remote_config"
expect_eq "tail after a second enable" "$(echo "$limits"; echo "$web_drop"; snmp 10.1.1.0/24
    echo "$snmp_drop"; echo "$web_drop")" "$(chain)"
ok "add_web_access_entry?prefix:ipv4net=10.5.0.0/16"
ok "add_web_access_entry?prefix:ipv4net=10.5.0.0/16"
: > $JOURNAL
ok "disable_remote_config"
expect_eq "disable lines" "pkill -9 vela_sh_remote
iptables -D INPUT -p tcp --dport 8080 -s 10.5.0.0/16 -j ACCEPT
iptables -D INPUT -p tcp --dport 8080 -j DROP" "$(cat $JOURNAL)"
expect_eq "tail after disable" "$(echo "$limits"; snmp 10.1.1.0/24; echo "$snmp_drop"
    echo "$web_drop")" "$(chain)"
wait_until '! agent_runs' "the agent still runs after disable_remote_config"
# ... and forgets the list: a second disable deletes no source again.
: > $JOURNAL
ok "disable_remote_config"
expect_eq "second disable lines" "pkill -9 vela_sh_remote
iptables -D INPUT -p tcp --dport 8080 -j DROP" "$(cat $JOURNAL)"
kill $FINDER_PID
finish
