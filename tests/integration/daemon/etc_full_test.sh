#!/bin/bash
# /etc full (a filled-up tmpfs copy): a write under /etc either fails and
# leaves the file as it was, or succeeds with the whole new file.
set -u
. "$(dirname "$0")/lib.sh"

cp -a /etc /tmp/etc.copy
mount -t tmpfs -o size=$(( $(du -sk /etc | cut -f1) + 1024 ))k tmpfs /etc
cp -a /tmp/etc.copy/. /etc/
start_finder
start_login
useradd -M full
# /etc/hosts a few bytes short of a whole page: a longer name needs one more.
pad=$((8192 - 20 - $(stat -c %s /etc/hosts) - 3))
printf '# %*s\n' $pad "" | tr ' ' '#' >>/etc/hosts
dd if=/dev/zero of=/etc/filler bs=4k 2>/dev/null

# whole_or_refused NAME FILE XRL-TAIL NEW-CONTENT
whole_or_refused() {
    local before out status
    before=$(cat "$2")
    out=$(call_xrl "$LOGIN_XRL/$3" 2>&1)
    status=$?
    if [ $status = 0 ]; then
        expect_eq "$1: new content" "$4" "$(cat "$2")"
    else
        expect_eq "$1: file kept" "$before" "$(cat "$2")"
        case "$out" in  # the banners and the host name answer their fixed texts
            *"No space left on device"*|*" failed. ("*) ;;
            *) fail "$1: unclear failure: $out" ;;
        esac
    fi
}
long=$(head -c 5000 /dev/zero | tr '\0' a)
whole_or_refused password /etc/shadow \
    "set_encrypted_password?user:txt=full&password:txt=%24$long" "$(sed "s/^full:[^:]*:/full:\$$long:/" /etc/shadow)"
whole_or_refused banner /etc/issue "set_login_message?message:txt=$long" "$long"
name=host-$(head -c 50 /dev/zero | tr '\0' b)
whole_or_refused "host name" /etc/hosts "set_hostname?hostname:txt=$name" \
    "$(grep -v '^127.0.0.1       Tessera$' /etc/hosts; echo "127.0.0.1       $name")"
[ -e /etc/shadow+ ] && fail "work file left"
finish
