#!/bin/bash
# The in-band walk through the daemon against the same 256 command lines run
# one after another by a shell loop, each through `sh -c` as system() does.
# Both are timed from their start until the journal took its 256th line.
# Runs inside scripts/sandbox (bench/run starts it there).
set -euo pipefail

JOURNAL=/var/log/sandbox/commands.log
rounds=3

now() { date +%s.%N; }
journal_time() { stat -c %.9Y $JOURNAL; }
idle() { [ "$(call_xrl finder://login/common/0.1/get_status)" = "status:u32=3&reason:txt=running" ]; }

# daemon_walk BOOL: seconds of one walk through the daemon.
daemon_walk() {
    : > $JOURNAL
    local t0=$(now)
    call_xrl "finder://login/login/0.1/set_inband_enable?enable:bool=$1" >/dev/null
    until idle; do sleep 0.2; done
    [ "$(grep -c '^/sbin/iptables' $JOURNAL)" = 256 ] || { echo "walk ran no 256 lines" >&2; exit 1; }
    cp $JOURNAL /tmp/walk.$1
    awk -v a="$t0" -v b="$(journal_time)" 'BEGIN {printf "%.3f", b - a}'
}

# shell_walk BOOL: seconds of the same lines run by a shell loop.
shell_walk() {
    : > $JOURNAL
    local t0=$(now) line
    while IFS= read -r line; do sh -c "$line"; done </tmp/walk.$1
    awk -v a="$t0" -v b="$(journal_time)" 'BEGIN {printf "%.3f", b - a}'
}

min() { printf '%s\n' "$@" | sort -g | head -1; }

xorp_finder >/tmp/finder.log 2>&1 &
login >/tmp/login.log 2>&1 &
pid=$!
until call_xrl finder://login/common/0.1/get_status >/dev/null 2>&1; do sleep 0.1; done

d=() s=()
for ((r = 0; r < rounds; r++)); do
    # Lock (inserts) and unlock (deletes), so that each pass starts alike.
    d+=("$(awk -v x="$(daemon_walk false)" -v y="$(daemon_walk true)" 'BEGIN {print x + y}')")
    s+=("$(awk -v x="$(shell_walk false)" -v y="$(shell_walk true)" 'BEGIN {print x + y}')")
done
dm=$(min "${d[@]}") sm=$(min "${s[@]}")
printf '%-44s %s s\n' "lock + unlock walk, through the daemon" "$dm"
printf '%-44s %s s\n' "the same 512 lines, shell loop" "$sm"
awk -v a="$dm" -v b="$sm" 'BEGIN {printf "%-44s %.3f (best of '$rounds', target <= 1.05)\n", "ratio daemon / shell loop", a / b}'
call_xrl finder://login/common/0.1/shutdown >/dev/null
wait $pid
