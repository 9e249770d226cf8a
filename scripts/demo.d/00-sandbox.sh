# Demo part: the sandbox the demo runs in. It is a throwaway copy of this
# machine with its own host name, firewall, network and accounts; nothing
# done here reaches the machine.

echo "== The sandbox: a private copy of the machine"
echo "\$ hostname"
hostname
echo "\$ iptables -S INPUT      # the firewall chain the daemon works on, empty"
iptables -S INPUT
echo "\$ ip -br addr show br0   # the test network"
ip -br addr show br0

echo
echo "== Test hosts, probed as the daemon probes TACACS+ servers"
echo "\$ ping -c 3 -i 0.2 -w 1 10.99.0.2|grep '100% packet loss'|wc -l   # answers"
ping -c 3 -i 0.2 -w 1 10.99.0.2 | grep '100% packet loss' | wc -l
echo "\$ ping -c 3 -i 0.2 -w 1 10.99.0.3|grep '100% packet loss'|wc -l   # does not"
ping -c 3 -i 0.2 -w 1 10.99.0.3 | grep '100% packet loss' | wc -l

echo
echo "== The command journal: every line given to /bin/sh -c (system, popen)"
echo "\$ sh -c 'echo one
ls -d /tm\\p'      # a newline and a backslash in the line"
sh -c 'echo one
ls -d /tm\p'
echo "\$ cat /var/log/sandbox/commands.log"
cat /var/log/sandbox/commands.log
echo "(emptied again, so that it shows only the daemon's lines from here on)"
: >/var/log/sandbox/commands.log
