#!/bin/bash
# Inside the sandbox: the real iptables takes every rule form the daemon
# writes, reads the chain back in its normalised form, deletes a rule given
# its full text again, and refuses an IPv6 prefix.
source "$(dirname "$0")/assert.sh"

check_eq "iptables on PATH and /sbin/iptables are one program" \
  "$(readlink -f /sbin/iptables)" "$(readlink -f "$(command -v iptables)")"
check "it is the real iptables" bash -c 'iptables --version | grep -q "^iptables v"'
check_eq "the chain starts empty" "-P INPUT ACCEPT" "$(iptables -S INPUT)"

# Connection and rate limits, access lists, then in-band rules.
iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name TELNET -j DROP
iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --set --name TELNET
iptables -I INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above 15 -j REJECT
iptables -A INPUT -p udp --dport 161 -s 10.0.0.0/8 -j ACCEPT
iptables -A INPUT -p tcp -m multiport --dport 22,23 -s 10.0.0.0/8 -j ACCEPT
iptables -A INPUT -p tcp -m multiport --dport 22,23 -j DROP
iptables -A INPUT -p tcp --dport 8080 -j DROP
iptables -I INPUT -i vlan.5 -p tcp -m multiport --dports 22,23,8080 -j DROP
iptables -I INPUT -i vlan.5 -p udp --dport 161 -j DROP

check_eq "every rule form reads back, -I at the head and -A at the tail" \
"-P INPUT ACCEPT
-A INPUT -i vlan.5 -p udp -m udp --dport 161 -j DROP
-A INPUT -i vlan.5 -p tcp -m multiport --dports 22,23,8080 -j DROP
-A INPUT -p tcp -m tcp --dport 22 --tcp-flags FIN,SYN,RST,ACK SYN -m connlimit --connlimit-above 15 --connlimit-mask 32 --connlimit-saddr -j REJECT --reject-with icmp-port-unreachable
-A INPUT -p tcp -m tcp --dport 23 -m state --state NEW -m recent --set --name TELNET --mask 255.255.255.255 --rsource
-A INPUT -p tcp -m tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name TELNET --mask 255.255.255.255 --rsource -j DROP
-A INPUT -s 10.0.0.0/8 -p udp -m udp --dport 161 -j ACCEPT
-A INPUT -s 10.0.0.0/8 -p tcp -m multiport --dports 22,23 -j ACCEPT
-A INPUT -p tcp -m multiport --dports 22,23 -j DROP
-A INPUT -p tcp -m tcp --dport 8080 -j DROP" \
  "$(/sbin/iptables -S INPUT)"

before=$(iptables -S INPUT)
err=$(iptables -A INPUT -p udp --dport 161 -s 2001:db8::/32 -j ACCEPT 2>&1)
check_eq "an IPv6 prefix is refused with exit 2" 2 "$?"
check "the refusal names the prefix" grep -q "host/network \`2001:db8::' not found" <<<"$err"
check_eq "the refused rule leaves the chain as it was" "$before" "$(iptables -S INPUT)"

# Rules go away when their full text is given again, as the daemon does it.
iptables -D INPUT -p tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount 20 --rttl --name TELNET -j DROP
iptables -D INPUT -p tcp -m multiport --dport 22,23 -s 10.0.0.0/8 -j ACCEPT
iptables -D INPUT -i vlan.5 -p tcp -m multiport --dports 22,23,8080 -j DROP
check_eq "rules are deleted by repeating their text" \
"-P INPUT ACCEPT
-A INPUT -i vlan.5 -p udp -m udp --dport 161 -j DROP
-A INPUT -p tcp -m tcp --dport 22 --tcp-flags FIN,SYN,RST,ACK SYN -m connlimit --connlimit-above 15 --connlimit-mask 32 --connlimit-saddr -j REJECT --reject-with icmp-port-unreachable
-A INPUT -p tcp -m tcp --dport 23 -m state --state NEW -m recent --set --name TELNET --mask 255.255.255.255 --rsource
-A INPUT -s 10.0.0.0/8 -p udp -m udp --dport 161 -j ACCEPT
-A INPUT -p tcp -m multiport --dports 22,23 -j DROP
-A INPUT -p tcp -m tcp --dport 8080 -j DROP" \
  "$(iptables -S INPUT)"
iptables -D INPUT -p tcp --dport 8080 -j DROP
check_not "deleting a rule that is gone fails" iptables -D INPUT -p tcp --dport 8080 -j DROP 2>/dev/null

finish
