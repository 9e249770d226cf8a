# Demo part: management access. The three access lists get an entry each,
# the remote configuration agent is started, and the in-band interfaces
# vlan.1 to vlan.128 are locked, one interface per step of the event loop.

ACCESS_XRL="finder://login/login/0.1"

access_call() {
    echo "\$ call_xrl \"$ACCESS_XRL/$1\""
    call_xrl "$ACCESS_XRL/$1" || echo "(exit status $?)"
}

echo
echo "== Access lists: SSH/telnet, SNMP and web sources, and the agent"
access_call "add_remote_access_entry_ipv4?prefix:ipv4net=10.0.0.0/8"
access_call "add_snmp_access_entry?prefix:ipv4net=10.1.1.0/24"
access_call "enable_remote_config"
access_call "add_web_access_entry?prefix:ipv4net=10.2.0.0/16"
echo "\$ pgrep -a vela_sh_remote"
pgrep -a vela_sh_remote || echo "(the agent is not running)"

echo
echo "== In-band lockdown: the call answers at once, the walk follows"
access_call "set_inband_enable?enable:bool=false"
echo "\$ call_xrl finder://login/common/0.1/get_status"
call_xrl "finder://login/common/0.1/get_status"
tries=0
until [ "$(call_xrl finder://login/common/0.1/get_status)" = "status:u32=3&reason:txt=running" ]; do
    tries=$((tries + 1))
    [ "$tries" -le 600 ] || { echo "the walk did not end"; return 1; }
    sleep 0.1
done
echo "(the walk ended)"
echo "\$ call_xrl finder://login/common/0.1/get_status"
call_xrl "finder://login/common/0.1/get_status"

echo
echo "== The INPUT chain: in-band rules at the head, the access lists at the tail"
echo "\$ iptables -S INPUT | head -n 5"
iptables -S INPUT | head -n 5
echo "\$ iptables -S INPUT | grep -c -- '-i vlan\\.'"
iptables -S INPUT | grep -c -- '-i vlan\.'
echo "\$ iptables -S INPUT | tail -n 11"
iptables -S INPUT | tail -n 11
