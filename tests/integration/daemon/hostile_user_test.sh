#!/bin/bash
# nobody beside the daemon: its own directories full of links to the account
# files, a lock it holds, writes into every file the daemon leaves behind.
set -u
. "$(dirname "$0")/lib.sh"

ok() { call_xrl "$LOGIN_XRL/$1" >/dev/null 2>&1 || fail "$1: answered $?"; }
logged() { grep -c -- "$1" /tmp/login.log; }
accounts() { md5sum /etc/shadow /etc/passwd /etc/gshadow; }
agent_runs() { pgrep -x vela_sh_remote >/dev/null; }
accounts_before=$(accounts)
umask 0     # the daemon is started with no file mask at all
start_finder
start_login
umask 022

# --- /tmp/system and /tmp/log gone, then made again by nobody, full of links.
rm -rf /tmp/system /tmp/log
"${NOBODY[@]}" mkdir -m 755 /tmp/system /tmp/log
"${NOBODY[@]}" ln -s /etc/shadow /tmp/system/tac_enable_accounting
"${NOBODY[@]}" ln -s /etc/gshadow /tmp/system/tac_enable_authorization
"${NOBODY[@]}" ln -s /etc/passwd /tmp/system/tac_live_servers
"${NOBODY[@]}" ln -s /etc/gshadow /tmp/log/remote_config.log
for c in enable_accounting?enable:bool=true enable_authorization?enable:bool=false \
         server?server:ipv4=10.99.0.2; do ok "set_tacacs_$c"; done
wait_until '[ "$(logged "Open /tmp/system/tac_[a-z_]* error\.")" = 3 ]' "open warnings"    # the pass's when it ends
: >"$JOURNAL"
expect_failure "agent with nobody's log" "System set enable remote config  failed." \
    "$LOGIN_XRL/enable_remote_config"
expect_eq "agent warning, nothing run" "1" \
    "$(logged 'Agent log /tmp/log/remote_config.log not safe to write')$(cat "$JOURNAL")"
agent_runs && fail "the agent started"

# --- root's directories: every file 0644 root; nobody writes into none.
rm -rf /tmp/system /tmp/log /etc/motd /etc/issue /etc/ntp-server
mkdir -m 755 /tmp/system /tmp/log
chmod 666 /etc/hosts     # left open by some earlier program
for c in set_tacacs_enable_accounting?enable:bool=true set_tacacs_enable_authorization?enable:bool=true \
         set_tacacs_server?server:ipv4=10.99.0.2 set_login_announcement?announcement:txt=hi \
         set_login_message?message:txt=hi set_hostname?hostname:txt=sw1 \
         set_ntp_server?server:ipv4=10.0.0.1 enable_remote_config; do ok "$c"; done
wait_until agent_runs "the agent is not running"
wait_until '[ -e /tmp/system/tac_live_servers ]' "no live-server file"
for f in /tmp/system/tac_enable_accounting /tmp/system/tac_enable_authorization \
         /tmp/system/tac_live_servers /etc/motd /etc/issue /etc/hosts /etc/ntp-server \
         /tmp/log/remote_config.log; do
    expect_eq "$f" "644 root" "$(stat -c '%a %U' "$f")"
    "${NOBODY[@]}" sh -c "echo x >>$f" 2>/dev/null && fail "nobody wrote into $f"
done
"${NOBODY[@]}" touch /tmp/system/x /tmp/log/x 2>/dev/null && fail "nobody made a file"
expect_eq "the agent's file mask" "0022" \
    "$(awk '/^Umask:/ {print $2}' /proc/$(pgrep -x vela_sh_remote)/status)"
ok "disable_remote_config"

# --- nobody holds a lock on the live-server file: the pass gives up after a
# bounded wait and leaves the file whole; once it is free the file is written.
"${NOBODY[@]}" /usr/bin/python3 -c 'import fcntl, sys, time
f = open(sys.argv[1]); fcntl.lockf(f, fcntl.LOCK_SH); print("held", flush=True); time.sleep(600)' \
    /tmp/system/tac_live_servers >/tmp/holder.out &
HOLDER=$!
wait_until '[ -s /tmp/holder.out ]' "nobody never held the lock"
ok "delete_tacacs_server?server:ipv4=10.99.0.2"
call_xrl "$COMMON_XRL/get_status" >/dev/null || fail "no status while the lock is held"
wait_until '[ "$(logged "Could not lock /tmp/system/tac_live_servers\.")" = 1 ]' "no lock warning"
expect_eq "file whole" "server=10.99.0.2 " "$(cat /tmp/system/tac_live_servers)"
kill $HOLDER
wait $HOLDER 2>/dev/null
ok "delete_tacacs_server?server:ipv4=10.99.0.2"
wait_until '[ ! -s /tmp/system/tac_live_servers ]' "not written once the lock is free"

# --- /etc read only: the NTP server is not recorded, and that is said.
mount --bind /etc /etc && mount -o remount,bind,ro /etc
expect_failure "NTP on a read-only /etc" "System set ntp server ip failed." \
    "$LOGIN_XRL/set_ntp_server?server:ipv4=10.0.0.2"
umount /etc
expect_eq "NTP servers" "server 10.0.0.1" "$(cat /etc/ntp-server)"
expect_eq "account files at the end" "$accounts_before" "$(accounts)"
kill $FINDER_PID
finish
