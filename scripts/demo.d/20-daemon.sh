# Demo part: the finder and the daemon come up; the daemon installs its
# connection and rate limits at start-up, and one limit is changed by XRL.
# Both processes stay up for the parts after this one; they end with the
# demo's sandbox (and on `call_xrl .../common/0.1/shutdown`).

echo "== Starting the finder and the login daemon"
xorp_finder >/tmp/xorp_finder.log 2>&1 &
echo "$!" >/tmp/xorp_finder.pid
login >/tmp/login.log 2>&1 &
echo "$!" >/tmp/login.pid

tries=0
until call_xrl "finder://login/common/0.1/get_status" >/tmp/login.status 2>/dev/null; do
    tries=$((tries + 1))
    if [ "$tries" -gt 300 ] || ! kill -0 "$(cat /tmp/login.pid)" 2>/dev/null; then
        echo "login did not come up; its log:" >&2
        cat /tmp/login.log >&2
        exit 1
    fi
    sleep 0.1
done
echo "\$ call_xrl finder://login/common/0.1/get_status"
cat /tmp/login.status

echo
echo "== Limit rules installed at start-up (head of INPUT)"
echo "\$ iptables -S INPUT"
iptables -S INPUT

echo
echo "== Commands the daemon ran so far"
echo "\$ cat /var/log/sandbox/commands.log"
cat /var/log/sandbox/commands.log

echo
echo "== Lowering the SSH rate limit to 10 new connections a minute"
echo "\$ call_xrl \"finder://login/login/0.1/set_ssh_rate_limit?limit:u32=10\""
call_xrl "finder://login/login/0.1/set_ssh_rate_limit?limit:u32=10"
echo "\$ iptables -S INPUT"
iptables -S INPUT
echo "\$ tail -n 4 /var/log/sandbox/commands.log"
tail -n 4 /var/log/sandbox/commands.log

echo
echo "== A refused host name (a blank in it): call_xrl exits 3"
echo "\$ call_xrl \"finder://login/login/0.1/set_hostname?hostname:txt=my+switch\""
call_xrl "finder://login/login/0.1/set_hostname?hostname:txt=my+switch" || echo "(exit status $?)"

# For the demo's clean-up: asks the daemon to stop, waits for it, stops the
# finder. (Everything left running also ends with the demo's sandbox.)
daemon_demo_stop() {
    local pid
    pid=$(cat /tmp/login.pid 2>/dev/null) || pid=""
    if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
        echo "\$ call_xrl finder://login/common/0.1/shutdown"
        call_xrl "finder://login/common/0.1/shutdown"
        wait "$pid" 2>/dev/null
        echo "(login exited with status $?)"
    fi
    pid=$(cat /tmp/xorp_finder.pid 2>/dev/null) || pid=""
    [ -n "$pid" ] && kill "$pid" 2>/dev/null
    return 0
}
