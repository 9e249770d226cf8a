#!/bin/bash
# xorp_finder out of file descriptors: it stops accepting for a while instead
# of spinning on a listening socket that stays readable, and serves again
# once descriptors are free.
set -u
. "$(dirname "$0")/../daemon/lib.sh"
cd /tmp
(ulimit -n 16 && exec xorp_finder -v 2>/tmp/finder.log) &
FINDER_PID=$!
wait_until 'call_xrl finder://finder/common/0.1/get_status >/dev/null 2>&1' "no finder"

# Hold more connections than the finder can take, for two seconds.
python3 - <<'PY' &
import socket, time
held = [socket.create_connection(("127.0.0.1", 19999)) for _ in range(30)]
time.sleep(2)
PY
hoarder=$!
wait_until 'grep -q "pausing for 100 ms" /tmp/finder.log' "the finder never paused"
wait $hoarder

call_xrl finder://finder/common/0.1/get_status >/dev/null
expect_eq "finder serves once descriptors are free" 0 $?
kill -0 $FINDER_PID 2>/dev/null || fail "finder died"
kill $FINDER_PID
finish
