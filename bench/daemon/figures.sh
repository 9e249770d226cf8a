#!/bin/bash
# The daemon's figures, each next to a reference measured here and now.
# Runs inside scripts/sandbox (bench/run starts it there); prints one row per
# figure: name<TAB>value<TAB>unit<TAB>reference name<TAB>reference value.
set -euo pipefail
STATUS=finder://login/common/0.1/get_status
row() { printf '%s\t%s\t%s\t%s\t%s\n' "$@"; }
now() { date +%s%N; }
ms() { awk -v ns="$1" 'BEGIN {printf "%.1f", ns / 1e6}'; }
median() { sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }
rss() { awk -v f="${2:-VmRSS}:" '$1 == f {print $2}' /proc/$1/status; }

xorp_finder >/tmp/finder.log 2>&1 &
finder=$!
sleep 0.2

# Start to ready: `login` started until its first get_status answer, polled
# without pause; the reference is one such poll against the ready daemon.
for i in 1 2 3 4 5; do
    t0=$(now)
    login >/tmp/login.log 2>&1 &
    pid=$!
    until call_xrl -r 0 "$STATUS" >/dev/null 2>&1; do :; done
    echo $(($(now) - t0)) >>/tmp/start
    t0=$(now); call_xrl "$STATUS" >/dev/null; echo $(($(now) - t0)) >>/tmp/poll
    [ $i = 5 ] || { kill $pid; wait $pid || true; }
done
row "start to ready (median of 5)" "$(ms "$(median </tmp/start)")" ms \
    "one get_status by call_xrl" "$(ms "$(median </tmp/poll)")"

# Idle memory, against a process that does nothing (sleep).
sleep 2
sleep 60 & idle=$!
sleep 0.2
row "idle VmRSS of login (target < 4096)" "$(rss $pid)" KiB "idle VmRSS of sleep" "$(rss $idle)"
row "idle VmRSS of xorp_finder (target < 4096)" "$(rss $finder)" KiB "idle VmRSS of sleep" "$(rss $idle)"
row "idle RssAnon (private) of login" "$(rss $pid RssAnon)" KiB "idle RssAnon of sleep" "$(rss $idle RssAnon)"
row "idle RssAnon (private) of xorp_finder" "$(rss $finder RssAnon)" KiB "idle RssAnon of sleep" "$(rss $idle RssAnon)"
kill $idle

# One password change on a long /etc/shadow, against chpasswd -e changing
# the same user of the same file.
useradd -M bench
for lines in 10000 100000; do
    awk -v n="$lines" 'BEGIN {for (i = 1; i < n; i++) printf "u%06d:$6$s$h:19000:0:99999:7:::\n", i}' >>/etc/shadow
    rm -f /tmp/ours /tmp/theirs
    for i in 1 2 3 4 5; do
        t0=$(now)
        call_xrl "finder://login/login/0.1/set_encrypted_password?user:txt=bench&password:txt=%246%24a%24b$i" >/dev/null
        echo $(($(now) - t0)) >>/tmp/ours
        t0=$(now)
        echo "bench:\$6\$c\$d$i" | chpasswd -e
        echo $(($(now) - t0)) >>/tmp/theirs
    done
    row "set_encrypted_password, $lines-line /etc/shadow" "$(ms "$(median </tmp/ours)")" ms \
        "chpasswd -e, same file" "$(ms "$(median </tmp/theirs)")"
    sed -i '/^u[0-9]\{6\}:/d' /etc/shadow
done
call_xrl finder://login/common/0.1/shutdown >/dev/null
