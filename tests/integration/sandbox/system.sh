#!/bin/bash
# Inside the sandbox: host name, test hosts, the switch's scripts and agent,
# the command journal, and the shape of the sandbox itself.
source "$(dirname "$0")/assert.sh"
journal=/var/log/sandbox/commands.log
top=$(cd "$(dirname "$0")/../../.." && pwd)

# Host name.
hostname sw1
check_eq "hostname sets the sandbox's name" "sw1" "$(hostname)"
check_eq "the kernel sees the new name" "sw1" "$(uname -n)"

# Test hosts, probed exactly as the daemon's liveness pass does.
probe() { ping -c 3 -i 0.2 -w 1 "$1" | grep '100% packet loss' | wc -l; }
check_eq "10.99.0.2 answers" "0" "$(probe 10.99.0.2)"
check_eq "10.99.0.3 does not answer" "1" "$(probe 10.99.0.3)"

# The switch's scripts and services are stand-ins that succeed.
for script in telnet_disable telnet_connection-limit ssh_disable ssh_root-login \
              ssh_protocol-version tacacs_disable tacacs_key tacacs_auth_type \
              tacacs_server syslog_host syslog_file_filename reboot clear_arp \
              clear_neigh6 snmp_switch_temperature; do
  check "/vela/bin/shell/$script.sh succeeds" "/vela/bin/shell/$script.sh" some args
done
check "ntpdate is a stand-in" ntpdate 10.99.0.3
check "hwclock is a stand-in" hwclock -w -u
check "the ntp service stops" /etc/init.d/ntp stop
check "the ntp service starts" /etc/init.d/ntp start

# The agent runs until pkill finds it by name.
/vela/bin/vela_sh_remote >/tmp/log/remote_config.log &
agent=$!
sleep 0.3
check "the agent is running" kill -0 "$agent"
check "pkill finds the agent by its name" pkill -9 vela_sh_remote
{ wait "$agent"; } 2>/dev/null
check_eq "the agent died of SIGKILL" "137" "$?"
check_not "no agent is left" pgrep vela_sh_remote

# The journal: `sh -c` lines only, escaped, in order, never interleaved.
check "the journal exists" test -f "$journal"
check "the vela log exists" test -f /var/log/sandbox/vela_common.log
: >"$journal"
/bin/sh -c 'echo a\b >/dev/null
echo "c\\nd" >/dev/null'
check_eq "a backslash and a newline are escaped" 'echo a\\b >/dev/null\necho "c\\\\nd" >/dev/null' \
  "$(cat "$journal")"

: >"$journal"
python3 -c 'import os; os.system("echo one >/dev/null"); os.popen("echo two").read()'
check_eq "system() and popen() lines are journaled in order" \
  $'echo one >/dev/null\necho two' "$(cat "$journal")"

: >"$journal"
printf 'echo from-file\n' >/tmp/script.sh
check_eq "sh runs a script file" "from-file" "$(sh /tmp/script.sh)"
check_eq "sh reads commands from stdin" "from-stdin" "$(echo 'echo from-stdin' | sh)"
check_eq "sh -e -c runs" "e-c" "$(sh -e -c 'echo e-c')"
check_eq "sh -c passes \$0 and arguments" "name x y" "$(sh -c 'echo "$0 $*"' name x y)"
check_eq "sh -c keeps the exit status" "3" "$(sh -c 'exit 3'; echo $?)"
check_eq "only the sh -c line is journaled" "echo \"\$0 \$*\"
exit 3" "$(cat "$journal")"

: >"$journal"
long=$(printf 'x%.0s' {1..3000})
for i in $(seq 1 40); do
  sh -c ": $i $long" &
done
wait
check_eq "concurrent lines arrive whole" "40" "$(grep -Ec "^: [0-9]+ x{3000}$" "$journal")"
check_eq "no line is torn" "40" "$(wc -l <"$journal")"

# The sandbox itself.
check "/dev/null is a device" test -c /dev/null
check_not "the machine's disks are out of reach" bash -c 'ls /dev | grep -Eq "^(sd|vd|nvme|xvd)"'
check "/proc shows this PID namespace" test "$(ps -e --no-headers | wc -l)" -lt 20
check_not "the project tree is read only" touch "$top/.sandbox-write-test" 2>/dev/null
check "/usr/local/bin comes before the system's folders on PATH" \
  bash -c '[[ :$PATH: == *:/usr/local/bin:*:/usr/bin:* ]]'
for prog in login xorp_finder call_xrl xrl_peer; do
  check_eq "$prog is the build tree's" "$LOGIN_BUILD_DIR/bin/$prog" \
    "$(readlink /usr/local/bin/$prog)"
done

finish
