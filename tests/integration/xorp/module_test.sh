#!/bin/bash
# A real XORP module, xorp_static_routes, at XORP's own finder beside the
# daemon: each birth is sent the logging level and facility, and after its
# death by SIGTERM or SIGKILL a change sends it nothing. The module serves
# neither method, so XORP's finder logs each send, in order, as unresolved.
set -u
. "$(dirname "$0")/lib.sh"
if [ ! -x "$XORP_STATIC_ROUTES" ]; then
    echo "XORP's xorp_static_routes is not built: skipped"
    exit 77
fi

# refused: "CLASS METHOD" per send the finder refused, "static_routes (gone)"
# per send to the dead module.
refused() {
    sed -n -e 's|.*Xrl does not resolve: finder://\([^/]*\)/log/0\.1/\(.*\)$|\1 \2|p' \
        -e 's|.*Target "static_routes" does not exist.*|static_routes (gone)|p' /tmp/xorp_finder.log
}
wait_for_refused() { wait_until '[ "$(refused | wc -l)" -ge '"$1"' ]' "the finder never refused $1 send(s)"; }
targets() { "$XORP_CALL_XRL" finder://finder/finder/0.2/get_xrl_targets 2>/dev/null; }
set_level() { call_xrl "$LOGIN_XRL/set_logging_level?level:txt=$1" || fail "set_logging_level $1"; }
set_facility() { call_xrl "$LOGIN_XRL/set_logging_facility?facility:u32=$1" || fail "set_logging_facility $1"; }

# born COUNT: the module is started; returns once COUNT sends were refused.
born() {
    "$XORP_STATIC_ROUTES" >/tmp/static_routes.log 2>&1 &
    MODULE_PID=$!
    wait_for_refused "$1"
    expect_contains "static_routes registered at the finder" ":txt=static_routes-" "$(targets)"
}

# dies SIGNAL SENTINEL: the module is killed and gone from the finder; then
# SENTINEL is born, so the daemon has taken the death in once it answers that.
dies() {
    kill -"$1" $MODULE_PID
    { wait $MODULE_PID; } 2>/dev/null
    MODULE_STATUS=$?
    wait_until '! targets | grep -q :txt=static_routes-' "static_routes never left the finder"
    xrl_peer --class "$2" >/dev/null 2>&1 &
    PEERS="${PEERS:-} $!"
}

start_xorp_finder
start_login

# Born, told a new level while alive, stopped by SIGTERM; then a change of
# both settings reaches the sentinel bgp only. The facility's sends are
# resolved after the level's: once bgp's facility is refused, any level send
# to the dead module would already be in the list.
born 2
set_level info
wait_for_refused 3
dies TERM bgp
expect_eq "exit status of static_routes after SIGTERM" 0 $MODULE_STATUS
wait_for_refused 5
set_level warning
set_facility 17
wait_for_refused 7

# Born again, told a new facility, killed by SIGKILL; the sentinel vrrp
# is born after.
born 9
set_facility 18
wait_for_refused 11
dies KILL vrrp
expect_eq "exit status of static_routes after SIGKILL" 137 $MODULE_STATUS
wait_for_refused 13
set_level error
set_facility 19
wait_for_refused 17

# CLASS/level or CLASS/facility, static_routes as "sr".
expect_eq "sends of the daemon, as XORP's finder refused them" "sr/level sr/facility sr/level \
bgp/level bgp/facility bgp/level bgp/facility sr/level sr/facility bgp/facility sr/facility \
vrrp/level vrrp/facility bgp/level vrrp/level bgp/facility vrrp/facility" \
    "$(refused | sed -e 's/ set_logging_/\//' -e 's/^static_routes/sr/' | xargs)"

kill $PEERS $FINDER_PID
wait $PEERS $FINDER_PID 2>/dev/null
finish
