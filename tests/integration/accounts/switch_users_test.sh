#!/bin/bash
# The guards around the account tools, through XRL: refusals before anything
# runs, the moved account's home, failures for accounts not made, the lock.
set -u
. "$(dirname "$0")/../daemon/lib.sh"

call() { call_xrl "$LOGIN_XRL/$1" >/dev/null || fail "$1"; }

start_finder
start_login
# Ranges with room on both sides: ids 1600..1700, groups 1500..1700.
cp /etc/login.defs /tmp/login.defs
sed -i -e 's/^UID_MIN.*/UID_MIN 1600/' -e 's/^UID_MAX.*/UID_MAX 1700/' \
    -e 's/^GID_MIN.*/GID_MIN 1500/' -e 's/^GID_MAX.*/GID_MAX 1700/' /etc/login.defs
groupadd -g 1500 crew
for id in 1600 1700; do groupadd -g $id u$id; done
for id in 1599 1600 1700 1701; do useradd -M -d /tmp/elsewhere -u $id -g $(getent group u$id crew | cut -d: -f3 | head -1) u$id 2>/dev/null; done
groupadd -g 1499 g1499 && groupadd -g 1701 g1701
useradd -M -d /tmp/elsewhere -u 1650 -g crew stray && groupadd -g 1651 stray
useradd -m -d /tmp/elsewhere away

# --- System accounts, groups not a user's own, homes outside /tmp/home/,
# and NUL bytes wherever they stand.
: > $JOURNAL
refusals <<'END'
create_user shadow read-only Create user failed, Group shadow is a system group
create_user sudo super-user Create user failed, Group sudo is a system group
create_user xorp read-only Create user failed, Group xorp is the group of the super-users, it can not be a user's own group
create_user crew read-only Create user failed, Group crew exists and is not the private group of user crew
create_user daemon read-only Create user failed, User daemon is a system account
delete_user daemon read-only Delete user failed, User daemon is a system account
delete_user games read-only Delete user failed, User games is a system account
delete_user away read-only Delete user failed, Home directory /tmp/elsewhere of user away is not a directory under /tmp/home/
set_user_class www-data super-user Set user class failed, User www-data is a system account
delete_user_class www-data super-user Delete user class failed, User www-data is a system account
create_user zed%00%3Bid read-only Create user failed, User name must not contain a NUL byte
create_user root%00x read-only Create user failed, User name must not contain a NUL byte
delete_user away%00x read-only Delete user failed, User name must not contain a NUL byte
set_user_class away super-user%00 Set user class failed, User class must not contain a NUL byte
set_user_class u1599 super-user Set user class failed, User u1599 is a system account
delete_user u1600 read-only Delete user failed, Home directory /tmp/elsewhere of user u1600 is not a directory under /tmp/home/
delete_user u1700 read-only Delete user failed, Home directory /tmp/elsewhere of user u1700 is not a directory under /tmp/home/
set_user_class u1701 super-user Set user class failed, User u1701 is a system account
create_user g1499 read-only Create user failed, Group g1499 is a system group
create_user g1701 read-only Create user failed, Group g1701 is a system group
set_user_class stray super-user Set user class failed, Group stray exists and is not the private group of user stray
END
cp /tmp/login.defs /etc/login.defs
expect_eq "refusals run nothing" "" "$(cat $JOURNAL)"
[ -d /usr/sbin ] && [ -d /usr/games ] && [ -d /tmp/elsewhere ] || fail "a home outside /tmp/home/ is gone"

# --- A moved account owns its kept home; links are changed, not followed.
call "create_user?user:txt=mover&user_class:txt=read-only"
call "create_user?user:txt=other&user_class:txt=read-only"
mkdir /tmp/home/mover/sub && touch /tmp/home/mover/sub/file && ln -s /etc/shadow /tmp/home/mover/link
chown -hR mover:mover /tmp/home/mover
call "set_user_class?user:txt=mover&user_class:txt=super-user"
cd /tmp/home/mover
expect_eq "home of the moved account" "mover:mover mover:mover mover:mover mover:mover root:shadow" \
    "$(stat -c %U:%G . sub sub/file link /etc/shadow | tr '\n' ' ' | sed 's/ $//')"

# ... and an account the tools did not make is a failure, naming it.
mount --bind /etc /etc && mount -o remount,bind,ro /etc
echo "create_user late read-only Create user failed, User late does not exist after the account tools ran" | refusals
umount /etc
refusals <<'END'
create_user A1 read-only Create user failed, User A1 does not exist after the account tools ran
create_user _ super-user Create user failed, User _ does not exist after the account tools ran
END

# --- A held password-files lock fails the call in ~3 s (lckpwdf: after 5 s, done).
python3 -c 'import fcntl, time; f = open("/etc/.pwd.lock", "a")
fcntl.lockf(f, fcntl.LOCK_EX | fcntl.LOCK_NB); open("/tmp/held", "w"); time.sleep(5)' &
wait_until '[ -e /tmp/held ]' "the lock holder never held the lock"
before=$(cat /etc/shadow)
expect_failure "held lock" "Set password failed, Can't lock the password files, another program holds them" \
    "$LOGIN_XRL/set_encrypted_password?user:txt=mover&password:txt=x"
expect_eq "nothing written under a held lock" "$before" "$(cat /etc/shadow)"
wait $!
call "set_encrypted_password?user:txt=mover&password:txt=x"
finish
