#!/bin/bash
# xorp_finder, call_xrl, xrl_peer and a generated target as processes:
# printed answers, exit statuses, error lines, the peer's log.
# Usage: tools_test.sh DIR   (DIR holds xrltest_target)
set -u
bindir=$1
. "$(dirname "$0")/../daemon/lib.sh"
cd /tmp

# -h and --help print the usage and exit 0; an unknown option prints it on
# stderr and exits 2; neither starts anything nor touches the system.
system_state() { iptables -S; hostname; cat /var/log/sandbox/commands.log 2>/dev/null; }
before=$(system_state)
while read -r prog help; do
    out=$(timeout 10 "$prog" "$help" 2>/tmp/err)
    expect_eq "$prog $help: exit" 0 $?
    expect_contains "$prog $help: usage" "Usage: $prog " "$out"
    expect_eq "$prog $help: stderr" "" "$(cat /tmp/err)"
    timeout 10 "$prog" --no-such-option >/tmp/out 2>/tmp/err
    expect_eq "$prog unknown option: exit" 2 $?
    expect_eq "$prog unknown option: stdout" "" "$(cat /tmp/out)"
    expect_contains "$prog unknown option: usage" "Usage: $prog " "$(cat /tmp/err)"
done <<'LIST'
login -h
login --help
xorp_finder -h
call_xrl -h
xrl_peer -h
xrl_peer --help
LIST
expect_eq "the system after the options" "$before" "$(system_state)"
pgrep -x login >/dev/null && fail "login -h left a daemon running"

# Before there is a finder.
XORP_FINDER_CONNECT_TIMEOUT_MS=300 call_xrl finder://finder/common/0.1/get_status 2>/dev/null
expect_eq "no finder" 1 $?
call_xrl 'finder://login/no-version-here' 2>/tmp/err
expect_eq "bad syntax" 255 $?
expect_contains "bad syntax message" "Bad XRL syntax: finder://login/no-version-here" "$(cat /tmp/err)"

start_finder
expect_eq "finder status" "status:u32=3&reason:txt=Ready" \
    "$(call_xrl finder://finder/common/0.1/get_status)"

# A target built on a generated base.
"$bindir/xrltest_target" &
target_pid=$!
wait_until 'call_xrl finder://xrltest/common/0.1/get_version >/dev/null 2>&1' "xrltest never answered"
expect_eq "return values" "status:u32=3&reason:txt=Running+%26+well" \
    "$(call_xrl finder://xrltest/common/0.1/get_status)"
expect_eq "two XRLs, two lines" $'name:txt=xrltest\nversion:txt=0.1' \
    "$(call_xrl finder://xrltest/common/0.1/get_target_name xrltest/common/0.1/get_version)"
# -f: XRLs from files and standard input, in order, up to the first failure.
printf '# comment\n\nfinder://xrltest/common/0.1/get_target_name\n' >/tmp/a.xrls
printf 'finder://xrltest/common/0.1/reboot\nfinder://xrltest/common/0.1/get_version\n' >/tmp/b.xrls
out=$(echo finder://xrltest/common/0.1/get_version | call_xrl -f /tmp/a.xrls - /tmp/b.xrls 2>/dev/null)
expect_eq "-f stops at the first failure" $'255\nname:txt=xrltest\nversion:txt=0.1' "$?"$'\n'"$out"
call_xrl 'stcp://127.0.0.1:1/common/0.1/get_status' 2>/dev/null
expect_eq "only finder:// XRLs" 255 $?
call_xrl finder://xrltest/common/0.1/reboot 2>/tmp/err
expect_eq "unknown method" 255 $?
expect_contains "unknown method message" "Failed.  Reason: 201 Resolve failed" "$(cat /tmp/err)"
call_xrl 'finder://xrltest/common/0.1/get_status?extra:u32=1' 2>/tmp/err
expect_eq "bad arguments" 3 $?
expect_contains "bad arguments message" "Failed.  Reason: 101 Bad argument(s)" "$(cat /tmp/err)"
expect_contains "bad arguments names the XRL" '("finder://xrltest/common/0.1/get_status?extra:u32=1")' "$(cat /tmp/err)"

# The peer answers anything, fails what it is told to, logs every call.
start_peer card_manager --log /tmp/cm.log \
    --fail 'register_card_state=card manager is busy' \
    --fail 'log/0.1/set_logging_level=no such level'
reg='finder://card_manager/card_manager/0.1/register_card_state?states:list=:u32=8,:u32=10&instance:txt=a b'
out=$(call_xrl "$reg" 2>/tmp/err)
expect_eq "failing method exit" 3 $?
expect_eq "failing method stdout" "" "$out"
expect_eq "failing method line" \
    'Failed.  Reason: 102 Command failed card manager is busy ("finder://card_manager/card_manager/0.1/register_card_state?states:list=:u32=8,:u32=10&instance:txt=a+b")' \
    "$(cat /tmp/err)"
call_xrl 'finder://card_manager/log/0.1/set_logging_level?level:txt=info' 2>/dev/null
expect_eq "failing full command" 3 $?
call_xrl 'finder://card_manager/other/0.1/set_logging_level?level:txt=info'
expect_eq "same method, other interface" 0 $?
call_xrl "$peer_instance/log/0.1/set_logging_facility?facility:u32=17"
expect_eq "by instance name" 0 $?
expect_eq "peer log" "finder://card_manager/card_manager/0.1/register_card_state?states:list=:u32=8,:u32=10&instance:txt=a+b
finder://card_manager/log/0.1/set_logging_level?level:txt=info
finder://card_manager/other/0.1/set_logging_level?level:txt=info
finder://card_manager/log/0.1/set_logging_facility?facility:u32=17" "$(cat /tmp/cm.log)"

# A target that does not answer in time; then one that appears during retries.
kill -STOP "$peer_pid"
call_xrl -w 1 finder://card_manager/common/0.1/get_status 2>/tmp/err
expect_eq "no answer in time" 255 $?
expect_contains "timeout message" "211 Reply timed out" "$(cat /tmp/err)"
kill -CONT "$peer_pid"
(sleep 0.5; exec xrl_peer --class late >/dev/null) &
call_xrl -r 8 finder://late/common/0.1/get_status
expect_eq "resolved on a retry" 0 $?

# The generated target stops when told to, after answering.
# No return values: nothing printed, not even an empty line.
call_xrl finder://xrltest/common/0.1/shutdown >/tmp/out
expect_eq "shutdown answered" 0 $?
expect_eq "bytes printed without return values" 0 "$(wc -c </tmp/out)"
wait "$target_pid"
expect_eq "target exit status" 0 $?

kill "$FINDER_PID"
finish
