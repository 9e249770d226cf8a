#!/bin/bash
# Inside the sandbox: what the switch provides for accounts, and a user's
# life through the system's tools as the daemon drives them.
source "$(dirname "$0")/assert.sh"

check "the group xorp exists" grep -q "^xorp:x:" /etc/group
check "the switch's login shell is executable" test -x /usr/bin/velash_pty.sh
check_eq "the login shell runs commands" "hello" "$(/usr/bin/velash_pty.sh -c 'echo hello')"
for dir in /tmp/system /tmp/log /tmp/home; do
  check_eq "$dir exists and is empty" "" "$(ls -A "$dir")"
done
check_not "the user bob does not exist yet" getent passwd bob

addgroup -q bob
check_eq "addgroup -q succeeds silently" "0" "$?"
gid=$(getent group bob | cut -d: -f3)
check "the group bob has a number" test -n "$gid"

useradd -d /tmp/home/bob -l -m -s /usr/bin/velash_pty.sh -G xorp -g bob bob
check_eq "useradd succeeds" "0" "$?"
check "passwd holds bob with his home, shell and group" \
  grep -Eqx "bob:x:[0-9]+:$gid::/tmp/home/bob:/usr/bin/velash_pty.sh" /etc/passwd
check "shadow holds bob, locked" grep -Eqx 'bob:!:[0-9]+:0:99999:7:::' /etc/shadow
check "bob is a member of xorp" grep -Eqx "xorp:x:[0-9]+:(.*,)?bob(,.*)?" /etc/group
check "the home folder is made" test -d /tmp/home/bob
check_eq "bob owns his home folder" "bob:bob" "$(stat -c %U:%G /tmp/home/bob)"

userdel -fr bob 2>/dev/null
check_eq "userdel -fr succeeds" "0" "$?"
check_not "bob is gone from passwd" grep -q '^bob:' /etc/passwd
check_not "bob is gone from shadow" grep -q '^bob:' /etc/shadow
check_not "bob is gone from xorp" grep -Eq '^xorp:.*bob' /etc/group
check_not "the group bob is removed with him" grep -q '^bob:' /etc/group
check_not "the home folder is removed" test -e /tmp/home/bob

finish
