# Helpers of the transport's process tests (sourced).

fails=0
fail() { echo "FAIL: $*" >&2; fails=$((fails + 1)); }
expect_eq() { [[ "$2" == "$3" ]] || fail "$1: expected [$2], got [$3]"; }
expect_contains() { [[ "$3" == *"$2"* ]] || fail "$1: [$2] not in [$3]"; }

# Polls a shell condition for up to ten seconds (a guard against hangs).
wait_for() {
    local i
    for ((i = 0; i < 100; i++)); do
        eval "$1" && return 0
        sleep 0.1
    done
    fail "gave up waiting for: $1"
    return 1
}

start_finder() {
    xorp_finder -v 2>/tmp/finder.log &
    finder_pid=$!
    wait_for 'call_xrl finder://finder/common/0.1/get_status >/dev/null 2>&1'
}

# start_peer NAME ARGS...: xrl_peer of class NAME; its stdout goes to a file
# of its own ($peer_out), so an earlier peer's "ready" line is never read.
start_peer() {
    local name=$1
    shift
    peer_out=$(mktemp "/tmp/$name.XXXXXX")
    xrl_peer --class "$name" "$@" >"$peer_out" &
    peer_pid=$!
    wait_for "grep -q '^ready ' $peer_out"
    peer_instance=$(sed -n 's/^ready //p' "$peer_out")
}

finish() {
    if ((fails)); then
        echo "$fails check(s) failed; finder log:" >&2
        cat /tmp/finder.log >&2
        exit 1
    fi
    echo "all checks passed"
}
