# Helpers for the tests against real XORP: where its programs are, and a
# template folder for the router manager and xorpsh. Exits 77 (skipped) when
# XORP is not built (scripts/lib/build-xorp).
. "$(dirname "$0")/../daemon/lib.sh"

XORP_BUILD=${LOGIN_XORP_DIR:-}/build
XORP_CALL_XRL=$XORP_BUILD/libxipc/call_xrl
XORP_FINDER=$XORP_BUILD/libxipc/xorp_finder
XORP_RTRMGR=$XORP_BUILD/rtrmgr/xorp_rtrmgr
XORPSH=$XORP_BUILD/rtrmgr/xorpsh
XORP_STATIC_ROUTES=$XORP_BUILD/static_routes/xorp_static_routes
XORP_TEMPLATES=${LOGIN_XORP_DIR:-}/src/etc/templates
SOURCE_TEMPLATES=$(cd "$(dirname "$0")/../../../etc/templates" && pwd)
TEMPLATES=/tmp/templates

for program in "$XORP_CALL_XRL" "$XORP_FINDER" "$XORP_RTRMGR" "$XORPSH"; do
    if [ -z "${LOGIN_XORP_DIR:-}" ] || [ ! -x "$program" ]; then
        echo "real XORP is not built (LOGIN_XORP_DIR=${LOGIN_XORP_DIR:-}): skipped"
        exit 77
    fi
done

# Our template and commands beside those rtrmgr and xorpsh need to start.
mkdir -p $TEMPLATES
cp "$SOURCE_TEMPLATES"/login.tp "$SOURCE_TEMPLATES"/login.cmds $TEMPLATES/
for f in rtrmgr.tp xorpsh.cmds host.cmds misc.cmds; do
    cp "$XORP_TEMPLATES/$f" $TEMPLATES/
done

start_xorp_finder() {
    "$XORP_FINDER" >/tmp/xorp_finder.log 2>&1 &
    FINDER_PID=$!
    wait_until '"$XORP_CALL_XRL" finder://finder/common/0.1/get_status >/dev/null 2>&1' "XORP's finder never answered"
}

# start_rtrmgr BOOTFILE: the router manager, which hosts the finder and starts
# the daemon from the template; returns once the daemon answers.
start_rtrmgr() {
    (cd /tmp && exec "$XORP_RTRMGR" -m "$(dirname "$(command -v login)")" -t $TEMPLATES \
        -b "$1") >/tmp/rtrmgr.log 2>&1 &
    RTRMGR_PID=$!
    wait_until 'call_xrl "$COMMON_XRL/get_status" >/dev/null 2>&1' "login never came up under rtrmgr"
}

# xorpsh_run CMD...: one xorpsh session running the commands, as a member of
# the group xorp, as an operator would; its output in /tmp/xorpsh.out.
xorpsh_run() {
    local args="" c
    for c in "$@"; do args="$args -c '$c'"; done
    sg xorp -c "$XORPSH -t $TEMPLATES $args" >/tmp/xorpsh.out 2>&1 </dev/null
}
