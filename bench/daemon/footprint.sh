#!/bin/bash
# The daemon's footprint on the switch's small CPU: memory after start-up,
# wake-ups while idle, and memory and time after a burst of XRLs.
# Runs inside scripts/sandbox (bench/run starts it there).
set -euo pipefail

rss() { awk '/^VmRSS/ {print $2 " kB"}' /proc/$1/status; }
wakeups() {
    awk '/^(non)?voluntary_ctxt_switches/ {n += $2} END {print n}' /proc/$1/status
}
# calls N XRL: N copies of XRL, given to one call_xrl in one go.
calls() {
    local n=$1 xrl=$2 args=()
    for ((i = 0; i < n; i++)); do args+=("$xrl"); done
    local t0=$(date +%s.%N)
    call_xrl "${args[@]}" >/dev/null
    local t1=$(date +%s.%N)
    awk -v n="$n" -v a="$t0" -v b="$t1" 'BEGIN {printf "%.0f calls/s", n / (b - a)}'
}

xorp_finder >/tmp/finder.log 2>&1 &
login >/tmp/login.log 2>&1 &
pid=$!
until call_xrl finder://login/common/0.1/get_status >/dev/null 2>&1; do sleep 0.1; done

printf '%-44s %s\n' "memory after start-up" "$(rss $pid)"
w0=$(wakeups $pid); sleep 10; w1=$(wakeups $pid)
printf '%-44s %s\n' "wake-ups in 10 s idle" "$((w1 - w0))"
rate=$(calls 5000 finder://login/common/0.1/get_status)
printf '%-44s %s\n' "5000 get_status (one call_xrl, in turn)" "$rate"
printf '%-44s %s\n' "memory after them" "$(rss $pid)"
rate=$(calls 100 "finder://login/login/0.1/set_ssh_rate_limit?limit:u32=10")
printf '%-44s %s\n' "100 set_ssh_rate_limit (4 iptables each)" "$rate"
printf '%-44s %s\n' "memory after them" "$(rss $pid)"
call_xrl finder://login/common/0.1/shutdown
wait $pid
