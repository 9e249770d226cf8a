# Demo part: local accounts. A read-only and a super-user account are made,
# a password is set, one user moves between the classes (the password comes
# along), and the accounts are shown as the system holds them.

ACCOUNTS_XRL="finder://login/login/0.1"

# Shows a call and makes it.
demo_call() {
    echo "\$ call_xrl \"$ACCOUNTS_XRL/$1\""
    call_xrl "$ACCOUNTS_XRL/$1" || echo "(exit status $?)"
}

# The passwd, group and shadow lines of the demo's users, and xorp's members.
show_accounts() {
    echo "\$ grep -E '^(viewer|chief):' /etc/passwd /etc/group /etc/shadow"
    grep -E '^(viewer|chief):' /etc/passwd /etc/group /etc/shadow
    echo "\$ grep '^xorp:' /etc/group"
    grep '^xorp:' /etc/group
}

echo
echo "== Local accounts: a read-only user and a super-user"
lines_before=$(wc -l </var/log/sandbox/commands.log)
demo_call "create_user?user:txt=viewer&user_class:txt=read-only"
demo_call "create_user?user:txt=chief&user_class:txt=super-user"
echo "(password hash \$6\$demo\$Qx7..., sent with \$ written %24)"
demo_call "set_encrypted_password?user:txt=chief&password:txt=%246%24demo%24Qx7vLr1pZ0"
demo_call "set_password_locked?user:txt=viewer&password:txt=locked"
show_accounts
echo "\$ ls -d /tmp/home/*"
ls -d /tmp/home/*

echo
echo "== chief becomes read-only, viewer super-user; passwords stay"
demo_call "set_user_class?user:txt=chief&user_class:txt=read-only"
demo_call "set_user_class?user:txt=viewer&user_class:txt=super-user"
show_accounts

echo
echo "== Refused: a default user, and a password that would split the line"
demo_call "delete_user?user:txt=admin&user_class:txt=super-user"
demo_call "set_encrypted_password?user:txt=chief&password:txt=x%0Aroot"

echo
echo "== Command lines the account operations ran"
echo "\$ tail -n +$((lines_before + 1)) /var/log/sandbox/commands.log"
tail -n +$((lines_before + 1)) /var/log/sandbox/commands.log
