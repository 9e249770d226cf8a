#!/bin/bash
# Local accounts through XRL with the system's account tools: the command lines
# run, and the resulting passwd, group and shadow entries and homes.
set -u
. "$(dirname "$0")/../daemon/lib.sh"

HASH='$6$salt$hash'
HASH_XRL='%246%24salt%24hash'

ok() { call_xrl "$LOGIN_XRL/$2" >/dev/null || fail "$1: answered $?"; }  # NAME XRL-TAIL
refused() { expect_failure "$1" "$2" "$LOGIN_XRL/$3"; }  # NAME NOTE XRL-TAIL
# account USER: "home shell group-of-primary-gid" or "none".
account() {
    local entry gid home shell
    entry=$(getent passwd "$1") || { echo none; return; }
    IFS=: read -r _ _ _ gid _ home shell <<<"$entry"
    echo "$home $shell $(getent group "$gid" | cut -d: -f1)"
}
in_xorp() { case ",$(getent group xorp | cut -d: -f4)," in *",$1,"*) echo yes ;; *) echo no ;; esac; }
field() { grep "^$1:" /etc/shadow | cut -d: -f2; }  # the password field of USER

start_finder
start_login

# --- New accounts: the group first, then the account with its home.
: > $JOURNAL
ok "create read-only" "create_user?user:txt=reader&user_class:txt=read-only"
expect_eq "commands of create read-only" "$(create_lines reader)" "$(cat $JOURNAL)"
expect_eq "read-only account" \
    "/tmp/home/reader /usr/bin/velash_pty.sh reader" "$(account reader)"
expect_eq "read-only is not in xorp" no "$(in_xorp reader)"
[ -d /tmp/home/reader ] || fail "home of reader not made"
expect_eq "new read-only account is locked" "!" "$(field reader)"

ok "create super-user" "create_user?user:txt=chief&user_class:txt=super-user"
expect_eq "super-user account" \
    "/tmp/home/chief /usr/bin/velash_pty.sh chief" "$(account chief)"
expect_eq "super-user is in xorp" yes "$(in_xorp chief)"

ok "set password" "set_encrypted_password?user:txt=chief&password:txt=$HASH_XRL"
expect_eq "password set" "$HASH" "$(field chief)"

# --- Create of an existing account: its password goes, its home stays.
touch /tmp/home/chief/kept
ok "create existing" "create_user?user:txt=chief&user_class:txt=read-only"
expect_eq "re-created account is read-only" no "$(in_xorp chief)"
[ -f /tmp/home/chief/kept ] || fail "home of chief lost on re-creation"
expect_eq "password of re-created account" "!" "$(field chief)"

# --- Class moves keep the password and the home; read-only to read-only runs nothing.
ok "set password again" "set_encrypted_password?user:txt=chief&password:txt=$HASH_XRL"
ok "read-only to super-user" "set_user_class?user:txt=chief&user_class:txt=super-user"
expect_eq "moved to super-user" yes "$(in_xorp chief)"
expect_eq "password kept to super-user" "$HASH" "$(field chief)"
[ -f /tmp/home/chief/kept ] || fail "home of chief lost in a class move"

ok "delete class" "delete_user_class?user:txt=chief&user_class:txt=super-user"
expect_eq "class deleted: read-only" no "$(in_xorp chief)"
expect_eq "password kept by delete class" "$HASH" "$(field chief)"
: > $JOURNAL
ok "read-only to read-only" "set_user_class?user:txt=chief&user_class:txt=read-only"
ok "delete class of read-only" "delete_user_class?user:txt=chief&user_class:txt=any"
expect_eq "read-only to read-only runs nothing" "" "$(cat $JOURNAL)"

# --- A locked account stays locked across a move.
ok "lock" "set_password_locked?user:txt=reader&password:txt=x"
expect_eq "locked field" "*" "$(field reader)"
ok "locked to super-user" "set_user_class?user:txt=reader&user_class:txt=super-user"
expect_eq "locked account stays locked" "*" "$(field reader)"

# --- Delete: with the home.
ok "delete user" "delete_user?user:txt=reader&user_class:txt=super-user"
expect_eq "deleted account" none "$(account reader)"
[ -e /tmp/home/reader ] && fail "home of reader still there"
grep -q '^reader:' /etc/shadow && fail "shadow line of reader still there"

# --- Refusals, each before anything runs: one per operation and kind.
before=$(cat /etc/shadow)
: > $JOURNAL
refused "lock with empty text" "Set password failed, Password is an empty string" \
    "set_password_locked?user:txt=chief&password:txt="
refused "delete without class" "Delete user failed, User_class is an empty string" \
    "delete_user?user:txt=chief&user_class:txt="
refusals <<'END'
delete_user ghost read-only Delete user failed, User ghost not exist
set_user_class ghost super-user Set user class failed, User ghost not exist
create_user chief guest Create user failed, User class guest is invalid, must be read-only or super-user
set_user_class x%3Btouch+%2Ftmp%2Fowned super-user Set user class failed, User name is invalid
delete_user_class a%3Bb super-user Delete user class failed, User name is invalid
END
ok "create root" "create_user?user:txt=root&user_class:txt=read-only"
expect_eq "refusals run nothing" "" "$(cat $JOURNAL)"
expect_eq "refusals change no password" "$before" "$(cat /etc/shadow)"
expect_eq "unknown class left the account" \
    "/tmp/home/chief /usr/bin/velash_pty.sh chief" "$(account chief)"
[ -e /tmp/owned ] && fail "a name reached the shell"

# --- Without the group xorp nobody counts as a super-user: nothing runs, the daemon logs why.
ok "create boss" "create_user?user:txt=boss&user_class:txt=super-user"
groupdel xorp || fail "groupdel xorp"
: > $JOURNAL
ok "delete class without xorp" "delete_user_class?user:txt=boss&user_class:txt=super-user"
ok "read-only without xorp" "set_user_class?user:txt=boss&user_class:txt=read-only"
expect_eq "without xorp nothing runs" "" "$(cat $JOURNAL)"
expect_eq "error lines without xorp" 2 \
    "$(grep -c 'ERROR .*login_main.cc is_user_in_xorp_group Group "xorp" does not exist on this system.' /tmp/login.log)"

# --- Nor can anybody become one: the account is kept, nothing runs.
: > $JOURNAL
refused "super-user without xorp" \
    "Set user class failed, Group xorp does not exist on this system, can not make a super-user" \
    "set_user_class?user:txt=boss&user_class:txt=super-user"
refused "create super-user without xorp" \
    "Create user failed, Group xorp does not exist on this system, can not make a super-user" \
    "create_user?user:txt=boss&user_class:txt=super-user"
expect_eq "refused super-user moves run nothing" "" "$(cat $JOURNAL)"
expect_eq "boss is kept" "/tmp/home/boss /usr/bin/velash_pty.sh boss" "$(account boss)"

call_xrl "$COMMON_XRL/shutdown" >/dev/null
wait $LOGIN_PID
kill $FINDER_PID
finish
