#!/bin/bash
# One million XRLs (or $1) against the daemon from 4 client processes at
# once; fails when an answer failed or the daemon's VmRSS rose by more than
# 1% after the warm-up. Prints one line: the bench_load figures and the drift.
# Runs inside scripts/sandbox (bench/run and the test `daemon_load`).
set -u
xorp_finder >/tmp/finder.log 2>&1 &
login >/tmp/login.log 2>&1 &
pid=$!
until call_xrl finder://login/common/0.1/get_status >/dev/null 2>&1; do sleep 0.1; done
out=$("$LOGIN_BUILD_DIR/bin/bench_load" 4 "${1:-1000000}" $pid)
status=$?
eval "${out// /;}"
drift=$(awk -v w="$rss_warm_kib" -v m="$rss_max_kib" 'BEGIN {printf "%.2f", (m - w) * 100 / w}')
echo "$out drift_percent=$drift"
kill -0 $pid || { echo "the daemon died" >&2; exit 1; }
((status == 0 && failed == 0)) || { echo "$failed client(s) saw a failed answer" >&2; exit 1; }
awk -v d="$drift" 'BEGIN {exit !(d <= 1)}' || { echo "VmRSS rose by $drift%" >&2; exit 1; }
