#!/bin/bash
# TACACS+ settings: the scripts' command lines, the two flag files, and the
# pam_unix switch on the sandbox's own copy of /etc/pam.d/common-auth.
set -u
. "$(dirname "$0")/../daemon/lib.sh"

# expect_file NAME FILE MODE BYTES: FILE has that mode and exactly BYTES.
expect_file() {
    expect_eq "$1: mode" "$3" "$(stat -c %a "$2")"
    expect_eq "$1: bytes" "$(printf %s "$4" | od -An -c)" "$(od -An -c "$2")"
}

umask 022
start_finder
start_login
: >"$JOURNAL"

call_xrl "$LOGIN_XRL/set_tacacs_disable?disable:bool=true" || fail "disable true"
call_xrl "$LOGIN_XRL/set_tacacs_disable?disable:bool=false" || fail "disable false"
call_xrl "$LOGIN_XRL/set_tacacs_key?key:txt=s3cr%09et" || fail "key with a tab"
expect_failure "key with a blank" "System set tacacs shared key failed." \
    "$LOGIN_XRL/set_tacacs_key?key:txt=two+words"
expect_failure "key with a shell character" "System set tacacs shared key failed." \
    "$LOGIN_XRL/set_tacacs_key?key:txt=x%3Breboot"
for type in ascii ASCII ""; do
    call_xrl "$LOGIN_XRL/set_tacacs_auth_type?auth_type:txt=$type" || fail "type '$type'"
done
expect_failure "type with a blank" "System set tacacs auth type failed." \
    "$LOGIN_XRL/set_tacacs_auth_type?auth_type:txt=pap+chap"
expect_failure "type with a shell character" "System set tacacs auth type failed." \
    "$LOGIN_XRL/set_tacacs_auth_type?auth_type:txt=%60reboot%60"
expect_eq "script lines (the server line on the first disable only)" \
"/vela/bin/shell/tacacs_disable.sh true
/vela/bin/shell/tacacs_server.sh server=0.0.0.0 
/vela/bin/shell/tacacs_disable.sh false
/vela/bin/shell/tacacs_key.sh s3cr	et
/vela/bin/shell/tacacs_auth_type.sh login
/vela/bin/shell/tacacs_auth_type.sh ASCII
/vela/bin/shell/tacacs_auth_type.sh " "$(cat "$JOURNAL")"

# Flag files: the whole content replaced each time. Made before the first
# liveness pass they keep the daemon's file mask; the pass clears the mask
# for good, so a later one is 0666.
AUTHZ=/tmp/system/tac_enable_authorization
ACCT=/tmp/system/tac_enable_accounting
call_xrl "$LOGIN_XRL/set_tacacs_enable_authorization?enable:bool=false" || fail "authz"
expect_file "authorization false" $AUTHZ 644 false
call_xrl "$LOGIN_XRL/delete_tacacs_server?server:ipv4=10.99.0.9" || fail "pass"
call_xrl "$LOGIN_XRL/set_tacacs_enable_authorization?enable:bool=true" || fail "authz"
expect_file "authorization true after false" $AUTHZ 644 true
call_xrl "$LOGIN_XRL/set_tacacs_enable_accounting?enable:bool=true" || fail "acct"
expect_file "accounting made after a pass" $ACCT 666 true
expect_file "live-server file of that pass" /tmp/system/tac_live_servers 666 ""

# Without /tmp/system: a warning, and success.
mv /tmp/system /tmp/system.away
call_xrl "$LOGIN_XRL/set_tacacs_enable_accounting?enable:bool=false" || fail "no dir"
mv /tmp/system.away /tmp/system
expect_file "accounting untouched" $ACCT 666 true
wait_until "grep -q 'WARNING .*+[0-9]* login_main.cc set_tacacs_enable_accounting Open $ACCT error\.\$' /tmp/login.log" \
    "no warning for the missing directory"

# pam_unix: switched off twice (two '#'), then on again (all '#' go).
PAM=/etc/pam.d/common-auth
cp $PAM /tmp/common-auth.orig
grep -q pam_unix $PAM || fail "no pam_unix line in $PAM"
: >"$JOURNAL"
call_xrl "$LOGIN_XRL/set_local_authentication?disable:bool=true" || fail "off"
call_xrl "$LOGIN_XRL/set_local_authentication?disable:bool=true" || fail "off again"
expect_eq "pam_unix lines off twice" "$(grep pam_unix /tmp/common-auth.orig | sed 's/^/##/')" \
    "$(grep pam_unix $PAM)"
expect_eq "other lines kept" "$(grep -v pam_unix /tmp/common-auth.orig)" "$(grep -v pam_unix $PAM)"
call_xrl "$LOGIN_XRL/set_local_authentication?disable:bool=false" || fail "on"
cmp -s /tmp/common-auth.orig $PAM || fail "common-auth not restored"
expect_eq "sed lines (journal doubles each backslash)" "$(cat <<'LINES'
sed -i 's/\\(.*\\)pam_unix\\(.*\\)/#\\1pam_unix\\2/g' /etc/pam.d/common-auth
sed -i 's/\\(.*\\)pam_unix\\(.*\\)/#\\1pam_unix\\2/g' /etc/pam.d/common-auth
sed -i 's/\\(^#*\\)\\(.*\\)pam_unix\\(.*\\)/\\2pam_unix\\3/g' /etc/pam.d/common-auth
LINES
)" "$(cat "$JOURNAL")"

finish
