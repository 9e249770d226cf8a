# Demo part: the switch configured as an operator does it, under XORP's
# router manager. The daemon started by the earlier part makes room (the
# router manager hosts the finder itself); xorp_rtrmgr starts login from
# etc/templates/login.tp and applies a boot file; xorpsh then changes and
# deletes settings with commit and runs the daemon's operational commands.
# Skipped when real XORP is not built (scripts/lib/build-xorp).

XORP_BUILD=${LOGIN_XORP_DIR:-$LOGIN_BUILD_DIR/xorp}/build
XORP_TEMPLATES=/tmp/xorp-templates
xorp_top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)

echo "== Under XORP's router manager"
if [ ! -x "$XORP_BUILD/rtrmgr/xorp_rtrmgr" ] || [ ! -x "$XORP_BUILD/rtrmgr/xorpsh" ]; then
    echo "(real XORP is not built in ${XORP_BUILD%/build}: this part is skipped;"
    echo " scripts/lib/build-xorp DIR builds it, LOGIN_XORP_DIR=DIR points the demo at it)"
    return 0
fi

echo "(the daemon and finder of the earlier part stop: rtrmgr hosts the finder)"
daemon_demo_stop >/dev/null 2>&1

# As installed: our template and commands beside XORP's own.
mkdir -p $XORP_TEMPLATES
cp "$xorp_top"/etc/templates/login.tp "$xorp_top"/etc/templates/login.cmds $XORP_TEMPLATES/
for f in rtrmgr.tp xorpsh.cmds host.cmds misc.cmds; do
    cp "${XORP_BUILD%/build}/src/etc/templates/$f" $XORP_TEMPLATES/
done
cat >/tmp/config.boot <<'BOOT'
system {
    host-name: "edge-sw2"
    login-announcement: "Managed by XORP"
    user ops {
        class: "read-only"
        encrypted-password: "$6$demo$Qx7vLr1pZ0"
    }
    ntp-server 10.99.0.2 {
    }
    ssh {
        rate-limit: 12
    }
    access-list {
        snmp 10.1.1.0/24 {
        }
    }
}
BOOT
echo "\$ cat /tmp/config.boot"
cat /tmp/config.boot
usermod -aG xorp root   # xorpsh grants configuration mode to members of xorp
: >/var/log/sandbox/commands.log
echo "\$ xorp_rtrmgr -m $LOGIN_BUILD_DIR/bin -t $XORP_TEMPLATES -b /tmp/config.boot &"
(cd /tmp && exec "$XORP_BUILD/rtrmgr/xorp_rtrmgr" -m "$LOGIN_BUILD_DIR/bin" -t $XORP_TEMPLATES \
    -b /tmp/config.boot) >/tmp/rtrmgr.log 2>&1 &
echo "$!" >/tmp/rtrmgr.pid
tries=0
until grep -q "No more tasks to run" /tmp/rtrmgr.log; do
    tries=$((tries + 1))
    [ "$tries" -le 300 ] || { echo "rtrmgr did not apply the boot file; its log:"; cat /tmp/rtrmgr.log; return 1; }
    sleep 0.1
done
echo "(rtrmgr started login and sent it the boot configuration)"
echo "\$ call_xrl finder://login/common/0.1/get_status"
call_xrl finder://login/common/0.1/get_status
echo "\$ hostname; grep '^ops:' /etc/shadow | cut -d: -f1-2"
hostname; grep '^ops:' /etc/shadow | cut -d: -f1-2
echo "\$ grep -v -e xorp-tmp -e '^iptables' /var/log/sandbox/commands.log   # the boot's commands"
grep -v -e xorp-tmp -e '^iptables' /var/log/sandbox/commands.log

xorpsh_demo() {
    local args="" c
    for c in "$@"; do args="$args -c '$c'"; done
    echo "\$ sg xorp -c \"xorpsh$args\""
    sg xorp -c "$XORP_BUILD/rtrmgr/xorpsh -t $XORP_TEMPLATES $args" </dev/null 2>&1 |
        grep -v -e 'Executable file not found' | tr -d '\r' | sed 's/\x1b\[[0-9;]*[A-Za-z]//g'
}

echo
echo "== xorpsh: ops becomes a super-user, a user is added, NTP and a limit deleted"
: >/var/log/sandbox/commands.log
xorpsh_demo configure "set system user ops class super-user" "set system user audit class read-only" \
    "delete system ntp-server 10.99.0.2" "delete system ssh rate-limit" commit "show system"
echo "\$ grep -v xorpsh /var/log/sandbox/commands.log   # what the commit ran"
grep -v xorpsh /var/log/sandbox/commands.log
echo "\$ grep -E '^(ops|audit):' /etc/shadow | cut -d: -f1-2; grep '^xorp:' /etc/group"
grep -E '^(ops|audit):' /etc/shadow | cut -d: -f1-2; grep '^xorp:' /etc/group

echo
echo "== xorpsh: the daemon's operational commands"
xorpsh_demo "show system users" "show system tacacs-servers" "clear arp 10.0.0.1" "show system status"

xorp_demo_stop() {
    local pid
    pid=$(cat /tmp/rtrmgr.pid 2>/dev/null) || pid=""
    if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
        echo "\$ kill \$(cat /tmp/rtrmgr.pid)   # rtrmgr stops login through common/0.1/shutdown"
        kill "$pid"
        wait "$pid" 2>/dev/null
        grep -o "Module normal exit: login" /tmp/rtrmgr.log
    fi
    return 0
}
