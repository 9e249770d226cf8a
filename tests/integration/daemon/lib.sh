# Helpers for the sandboxed process tests: start the finder, the daemon and
# peers, call them, and compare what they did with what was expected.

JOURNAL=/var/log/sandbox/commands.log
LOGIN_XRL="finder://login/login/0.1"
COMMON_XRL="finder://login/common/0.1"
NOBODY=(setpriv --reuid nobody --regid nogroup --clear-groups --)
failures=0

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

# expect_eq NAME EXPECTED ACTUAL
expect_eq() {
    if [ "$2" != "$3" ]; then
        fail "$1"
        diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") | sed 's/^/    /' >&2
    fi
}

expect_contains() { [[ "$3" == *"$2"* ]] || fail "$1: [$2] not in [$3]"; }

# expect_failure NAME NOTE XRL: the call must fail (exit 3) with exactly that note.
expect_failure() {
    local err status
    err=$(call_xrl "$3" 2>&1 >/dev/null)
    status=$?
    expect_eq "$1: exit status" 3 "$status"
    case "$err" in
        *"102 Command failed $2 (\""*) ;;
        *) fail "$1: expected note '$2', got: $err" ;;
    esac
}

# shell_failure_seen: whether the daemon sees that /bin/sh is missing (not under
# LOGIN_EMULATOR: qemu-user runs posix_spawn's vfork as a fork).
shell_failure_seen() {
    [ -z "${LOGIN_EMULATOR:-}" ]
}

# refusals: each line of stdin "OPERATION USER CLASS NOTE" must fail with NOTE.
refusals() {
    while read -r op user class note; do
        expect_failure "$op $user" "$note" \
            "$LOGIN_XRL/$op?user:txt=$user&user_class:txt=$class" </dev/null
    done
}

# wait_until CONDITION MESSAGE: polls CONDITION for up to 30 s, else fails.
wait_until() {
    local tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        if [ $tries -gt 300 ]; then
            fail "$2"
            return 1
        fi
        sleep 0.1
    done
}

# wait_for_lines FILE COUNT: until FILE holds COUNT lines.
wait_for_lines() {
    wait_until "[ \"\$(cat '$1' 2>/dev/null | wc -l)\" -ge $2 ]" \
        "$1 never reached $2 lines"
}

# start_finder: the finder in the background; returns once it answers.
start_finder() {
    xorp_finder -v >/tmp/finder.log 2>&1 &
    FINDER_PID=$!
    wait_until 'call_xrl finder://finder/common/0.1/get_status >/dev/null 2>&1' "no finder"
}

# start_peer NAME ARGS...: xrl_peer of class NAME; its stdout goes to a file
# of its own ($peer_out), so an earlier peer's "ready" line is never read.
start_peer() {
    local name=$1
    shift
    peer_out=$(mktemp "/tmp/$name.XXXXXX")
    xrl_peer --class "$name" "$@" >"$peer_out" &
    peer_pid=$!
    wait_until "grep -q '^ready ' $peer_out" "peer $name never ready"
    peer_instance=$(sed -n 's/^ready //p' "$peer_out")
}

# start_login [ARG...]: the daemon in the background; returns once it answers.
start_login() {
    login "$@" >/tmp/login.log 2>&1 &
    LOGIN_PID=$!
    local tries=0
    until call_xrl "$COMMON_XRL/get_status" >/dev/null 2>&1; do
        tries=$((tries + 1))
        if [ $tries -gt 300 ] || ! kill -0 $LOGIN_PID 2>/dev/null; then
            echo "login never answered get_status; its log:" >&2
            cat /tmp/login.log >&2
            exit 1
        fi
        sleep 0.1
    done
}

# chain: the INPUT chain as iptables prints it, without the policy line.
chain() {
    iptables -S INPUT | grep -v '^-P '
}

# Command lines of the limit rules: ipt OP PORT MATCH NAME [TARGET];
# rate_pair PORT NAME OLD NEW, a rate pair moved from hit count OLD to NEW;
# connlimit OP LIMIT; startup_lines, the nine the daemon runs at start-up.
ipt() {
    echo "iptables -$1 INPUT -p tcp --dport $2 -m state --state NEW -m recent $3 --name $4${5:+ -j $5}"
}
rate() { ipt "$1" "$2" "--update --seconds 60 --hitcount $4 --rttl" "$3" DROP; }
rate_pair() { rate D $1 $2 $3; ipt D $1 --set $2; ipt I $1 --set $2; rate I $1 $2 $4; }
connlimit() { echo "iptables -$1 INPUT -p tcp --syn --dport 22 -m connlimit --connlimit-above $2 -j REJECT"; }
startup_lines() {
    ipt I 22 --set SSH; rate I 22 SSH 20; connlimit I 15; rate_pair 22 SSH 20 20
    ipt I 23 --set TELNET; rate I 23 TELNET 20
}

# The access lists' matches, and add_lines TOOL MATCH PREFIX: the lines of an
# entry added to a list in force (its closing rule moved behind it).
REMOTE="-p tcp -m multiport --dport 22,23" SNMP="-p udp --dport 161" WEB="-p tcp --dport 8080"
add_lines() {
    printf '%s -D INPUT %s -j DROP\n%s -A INPUT %s -s %s -j ACCEPT\n%s -A INPUT %s -j DROP\n' \
        "$1" "$2" "$1" "$2" "$3" "$1" "$2"
}

# Lines of a new account (create_lines USER [-G xorp ]) and of an NTP server set.
create_lines() {
    printf 'addgroup -q %s\nuseradd -d /tmp/home/%s -l -m -s /usr/bin/velash_pty.sh %s-g %s %s\n' \
        "$1" "$1" "${2:-}" "$1" "$1"
}
ntp_lines() { printf '/etc/init.d/ntp stop\nntpdate %s\nhwclock -w -u\n' "$1"; }

# Rule texts as `iptables -S` prints them back.
telnet_update() {
    echo "-A INPUT -p tcp -m tcp --dport 23 -m state --state NEW -m recent --update --seconds 60 --hitcount $1 --rttl --name TELNET --mask 255.255.255.255 --rsource -j DROP"
}
telnet_set() {
    echo "-A INPUT -p tcp -m tcp --dport 23 -m state --state NEW -m recent --set --name TELNET --mask 255.255.255.255 --rsource"
}
ssh_update() {
    echo "-A INPUT -p tcp -m tcp --dport 22 -m state --state NEW -m recent --update --seconds 60 --hitcount $1 --rttl --name SSH --mask 255.255.255.255 --rsource -j DROP"
}
ssh_set() {
    echo "-A INPUT -p tcp -m tcp --dport 22 -m state --state NEW -m recent --set --name SSH --mask 255.255.255.255 --rsource"
}
ssh_connection() {
    echo "-A INPUT -p tcp -m tcp --dport 22 --tcp-flags FIN,SYN,RST,ACK SYN -m connlimit --connlimit-above $1 --connlimit-mask 32 --connlimit-saddr -j REJECT --reject-with icmp-port-unreachable"
}

finish() {
    if [ $failures -ne 0 ]; then
        echo "$failures check(s) failed; finder log:" >&2
        cat /tmp/finder.log >&2 2>/dev/null
        exit 1
    fi
    echo "all checks passed"
}
