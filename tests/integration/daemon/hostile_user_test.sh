#!/bin/bash
# A hostile local user (nobody) beside the daemon: directories of its own
# full of links to the account files, a lock it holds, and writes into every
# file the daemon leaves behind. The account files stay as they were.
set -u
. "$(dirname "$0")/lib.sh"

as_nobody() { setpriv --reuid nobody --regid nogroup --clear-groups -- "$@"; }
ok() { call_xrl "$LOGIN_XRL/$1" >/dev/null 2>&1 || fail "$1: answered $?"; }
logged() { grep -c -- "$1" /tmp/login.log; }
accounts() { md5sum /etc/shadow /etc/passwd /etc/gshadow; }
agent_runs() { pgrep -x vela_sh_remote >/dev/null; }
PY=/usr/bin/python3
accounts_before=$(accounts)

# Started with no file mask at all.
umask 0
start_finder
start_login
umask 022

# --- /tmp/system and /tmp/log missing, then made by nobody, full of links.
rm -rf /tmp/system /tmp/log
as_nobody mkdir -m 755 /tmp/system /tmp/log
as_nobody ln -s /etc/shadow /tmp/system/tac_enable_accounting
as_nobody ln -s /etc/gshadow /tmp/system/tac_enable_authorization
as_nobody ln -s /etc/passwd /tmp/system/tac_live_servers
as_nobody ln -s /etc/gshadow /tmp/log/remote_config.log
ok "set_tacacs_enable_accounting?enable:bool=true"
ok "set_tacacs_enable_authorization?enable:bool=false"
ok "set_tacacs_server?server:ipv4=10.99.0.2"
expect_eq "live-server open warning" 1 "$(logged 'Open /tmp/system/tac_live_servers error\.')"
expect_eq "flag open warnings" 2 "$(logged 'Open /tmp/system/tac_enable_[a-z]* error\.')"
: >"$JOURNAL"
expect_failure "agent with nobody's log" "System set enable remote config  failed." \
    "$LOGIN_XRL/enable_remote_config"
expect_eq "agent log warning" 1 "$(logged 'Agent log /tmp/log/remote_config.log not safe to write')"
expect_eq "nothing run for the agent" "" "$(cat "$JOURNAL")"
agent_runs && fail "the agent started"
expect_eq "account files" "$accounts_before" "$(accounts)"

# --- root's own directories: every file comes out 0644 root, and nobody can
# write into it or make another beside it.
rm -rf /tmp/system /tmp/log
mkdir -m 755 /tmp/system /tmp/log
rm -f /etc/motd /etc/issue /etc/ntp-server
chmod 666 /etc/hosts     # left open by some earlier program
ok "set_tacacs_enable_accounting?enable:bool=true"
ok "set_tacacs_enable_authorization?enable:bool=true"
ok "set_tacacs_server?server:ipv4=10.99.0.2"
ok "set_login_announcement?announcement:txt=hello"
ok "set_login_message?message:txt=hello"
ok "set_hostname?hostname:txt=sw1"
ok "set_ntp_server?server:ipv4=10.0.0.1"
ok "enable_remote_config"
wait_until agent_runs "the agent is not running"
files="/tmp/system/tac_enable_accounting /tmp/system/tac_enable_authorization
    /tmp/system/tac_live_servers /etc/motd /etc/issue /etc/hosts /etc/ntp-server
    /tmp/log/remote_config.log"
for f in $files; do
    expect_eq "$f" "644 root" "$(stat -c '%a %U' "$f")"
    as_nobody sh -c "echo x >>$f" 2>/dev/null && fail "nobody wrote into $f"
done
as_nobody touch /tmp/system/x /tmp/log/x 2>/dev/null && fail "nobody made a file"
expect_eq "the agent's file mask" "0022" \
    "$(awk '/^Umask:/ {print $2}' /proc/$(pgrep -x vela_sh_remote)/status)"
ok "disable_remote_config"

# --- nobody holds a lock on the live-server file: the pass gives up after a
# bounded wait, leaves the file whole, and the daemon answers again.
expect_eq "live servers" "server=10.99.0.2 " "$(cat /tmp/system/tac_live_servers)"
setpriv --reuid nobody --regid nogroup --clear-groups -- $PY -c 'import fcntl, sys, time
f = open(sys.argv[1]); fcntl.lockf(f, fcntl.LOCK_SH); print("held", flush=True); time.sleep(600)' \
    /tmp/system/tac_live_servers >/tmp/holder.out &
HOLDER=$!
wait_until '[ -s /tmp/holder.out ]' "nobody never held the lock"
ok "delete_tacacs_server?server:ipv4=10.99.0.2"
call_xrl "$COMMON_XRL/get_status" >/dev/null || fail "no status while the lock is held"
expect_eq "lock warning" 1 "$(logged 'Could not lock /tmp/system/tac_live_servers\.')"
expect_eq "file kept whole" "server=10.99.0.2 " "$(cat /tmp/system/tac_live_servers)"
kill $HOLDER
wait $HOLDER 2>/dev/null
ok "delete_tacacs_server?server:ipv4=10.99.0.2"
expect_eq "written once the lock is free" "0" "$(stat -c %s /tmp/system/tac_live_servers)"

# --- /etc read only: the NTP server is not recorded, and says so.
mount --bind /etc /etc && mount -o remount,bind,ro /etc
expect_failure "NTP on a read-only /etc" "System set ntp server ip failed." \
    "$LOGIN_XRL/set_ntp_server?server:ipv4=10.0.0.2"
umount /etc
expect_eq "NTP servers" "server 10.0.0.1" "$(cat /etc/ntp-server)"

expect_eq "account files at the end" "$accounts_before" "$(accounts)"
kill $FINDER_PID
finish
