#!/bin/bash
# Local accounts through XRL, against the daemon and the system's own account
# tools: the command lines run, and the passwd, group and shadow entries and
# home directories that result.
set -u
. "$(dirname "$0")/../daemon/lib.sh"

HASH='$6$salt$hash'
HASH_XRL='%246%24salt%24hash'

# ok NAME XRL-TAIL: the call must answer success.
ok() {
    call_xrl "$LOGIN_XRL/$2" >/dev/null || fail "$1: answered $?"
}

# refused NAME NOTE XRL-TAIL: the call must fail with exactly that note.
refused() { expect_failure "$1" "$2" "$LOGIN_XRL/$3"; }

commands() { cat $JOURNAL; }
forget_commands() { : > $JOURNAL; }

# account USER: "home shell group-of-primary-gid" or "none".
account() {
    local entry gid home shell
    entry=$(getent passwd "$1") || { echo none; return; }
    IFS=: read -r _ _ _ gid _ home shell <<<"$entry"
    echo "$home $shell $(getent group "$gid" | cut -d: -f1)"
}

# in_xorp USER: yes or no, by the member list of the group xorp.
in_xorp() {
    case ",$(getent group xorp | cut -d: -f4)," in
        *",$1,"*) echo yes ;;
        *) echo no ;;
    esac
}

# field USER: the password field of the user's line in /etc/shadow.
field() {
    grep "^$1:" /etc/shadow | cut -d: -f2
}


start_finder
start_login

# --- New accounts: the group first, then the account with its home (the
# lines of a new super-user and of a delete are unit tested).
forget_commands
ok "create read-only" "create_user?user:txt=reader&user_class:txt=read-only"
expect_eq "commands of create read-only" \
"addgroup -q reader
useradd -d /tmp/home/reader -l -m -s /usr/bin/velash_pty.sh -g reader reader" "$(commands)"
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

# --- An existing account goes through create: deleted first, no -m, and its
# password is gone; the home stays.
touch /tmp/home/chief/kept
ok "create existing" "create_user?user:txt=chief&user_class:txt=read-only"
expect_eq "re-created account is read-only" no "$(in_xorp chief)"
[ -f /tmp/home/chief/kept ] || fail "home of chief lost on re-creation"
expect_eq "password of re-created account" "!" "$(field chief)"

# --- Class moves rebuild the account (the command lines of a rebuild are
# unit tested) and keep the password and the home; a move to the class the
# account has runs nothing for read-only.
ok "set password again" "set_encrypted_password?user:txt=chief&password:txt=$HASH_XRL"
ok "read-only to super-user" "set_user_class?user:txt=chief&user_class:txt=super-user"
expect_eq "moved to super-user" yes "$(in_xorp chief)"
expect_eq "password kept to super-user" "$HASH" "$(field chief)"
[ -f /tmp/home/chief/kept ] || fail "home of chief lost in a class move"

ok "delete class" "delete_user_class?user:txt=chief&user_class:txt=super-user"
expect_eq "class deleted: read-only" no "$(in_xorp chief)"
expect_eq "password kept by delete class" "$HASH" "$(field chief)"
forget_commands
ok "read-only to read-only" "set_user_class?user:txt=chief&user_class:txt=read-only"
ok "delete class of read-only" "delete_user_class?user:txt=chief&user_class:txt=any"
expect_eq "read-only to read-only runs nothing" "" "$(commands)"

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

# --- Refusals, each before anything runs: one per operation and kind (the
# texts of each rule, the default users' among them, are unit tested).
before=$(cat /etc/shadow)
forget_commands
refused "password with a colon" "Set password failed, Password must not contain ':'" \
    "set_encrypted_password?user:txt=chief&password:txt=a%3A0%3A0"
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
expect_eq "refusals run nothing" "" "$(commands)"
expect_eq "refusals change no password" "$before" "$(cat /etc/shadow)"
expect_eq "unknown class left the account" \
    "/tmp/home/chief /usr/bin/velash_pty.sh chief" "$(account chief)"
[ -e /tmp/owned ] && fail "a name reached the shell"

# --- The error-text check: without a shell the call fails and nothing is made
# (which check stops which sequence is tested in the unit tests).
if shell_failure_seen; then
    mv /bin/sh /bin/sh.away
    err=$(call_xrl "$LOGIN_XRL/create_user?user:txt=late&user_class:txt=read-only" 2>&1 >/dev/null)
    status=$?
    mv /bin/sh.away /bin/sh
    expect_eq "create without a shell: exit status" 3 "$status"
    case "$err" in
        *"102 Command failed Create user failed, "*) ;;
        *) fail "create without a shell: $err" ;;
    esac
    expect_eq "create without a shell made nothing" none "$(account late)"
fi

# --- Without the group xorp nobody counts as a super-user: nothing runs,
# and the daemon logs why.
ok "create boss" "create_user?user:txt=boss&user_class:txt=super-user"
groupdel xorp || fail "groupdel xorp"
forget_commands
ok "delete class without xorp" "delete_user_class?user:txt=boss&user_class:txt=super-user"
ok "read-only without xorp" "set_user_class?user:txt=boss&user_class:txt=read-only"
expect_eq "without xorp nothing runs" "" "$(commands)"
expect_eq "error lines without xorp" 2 \
    "$(grep -c 'ERROR .*login_main.cc is_user_in_xorp_group Group "xorp" does not exist on this system.' /tmp/login.log)"

# --- Nor can anybody become one: the account is kept, nothing runs.
forget_commands
refused "super-user without xorp" \
    "Set user class failed, Group xorp does not exist on this system, can not make a super-user" \
    "set_user_class?user:txt=boss&user_class:txt=super-user"
refused "create super-user without xorp" \
    "Create user failed, Group xorp does not exist on this system, can not make a super-user" \
    "create_user?user:txt=boss&user_class:txt=super-user"
expect_eq "refused super-user moves run nothing" "" "$(commands)"
expect_eq "boss is kept" "/tmp/home/boss /usr/bin/velash_pty.sh boss" "$(account boss)"

call_xrl "$COMMON_XRL/shutdown" >/dev/null
wait $LOGIN_PID
kill $FINDER_PID
finish
