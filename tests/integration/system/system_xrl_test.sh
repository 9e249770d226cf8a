#!/bin/bash
# System settings through XRL: /etc/hosts, /etc/motd, /etc/issue, /etc/ntp-server
# byte for byte, the host name, and the command lines run, refused input included.
set -u
. "$(dirname "$0")/../daemon/lib.sh"

VELA_LOG=/var/log/sandbox/vela_common.log
ORDER=/tmp/ntp-order
HOST="127.0.0.1       "

# file_is NAME PATH FORMAT [ARG...]: the file holds exactly printf's output.
file_is() {
    local name=$1 path=$2 format=$3
    shift 3
    expect_eq "$name: $path" "$(printf -- "$format" "$@"; echo .)" "$(cat "$path" 2>&1; echo .)"
}

# runs NAME XRL-TAIL EXPECTED-LINES: the call succeeds and runs exactly these lines.
runs() {
    : > $JOURNAL
    call_xrl "$LOGIN_XRL/$2" >/dev/null || fail "$1: answered $?"
    expect_eq "$1: commands" "$3" "$(cat $JOURNAL)"
}

# What refused input must leave alone: the files, the host name, the journal.
state() {
    md5sum /etc/hosts /etc/motd /etc/issue /etc/ntp-server 2>&1
    hostname
    cat $JOURNAL
}

start_finder
start_login

# --- Host name: the old host line goes, the new one ends the file.
long=$(printf 'x%.0s' $(seq 300))
printf '127.0.0.1\tlocalhost\n::1\tlocalhost ip6-localhost\n# %s\n%sTessera\n%sother\n' \
    "$long" "$HOST" "$HOST" > /etc/hosts
kept='127.0.0.1\tlocalhost\n::1\tlocalhost ip6-localhost\n# %s\n%sother\n'
runs "first host name" "set_hostname?hostname:txt=sw1" "hostname sw1"
file_is "first host name" /etc/hosts "$kept%ssw1\n" "$long" "$HOST" "$HOST"
expect_eq "sandbox host name" sw1 "$(hostname)"
runs "second host name" "set_hostname?hostname:txt=sw-2.lab" "hostname sw-2.lab"
file_is "second host name" /etc/hosts "$kept%ssw-2.lab\n" "$long" "$HOST" "$HOST"
runs "same name again" "set_hostname?hostname:txt=sw-2.lab" "hostname sw-2.lab"
file_is "same name again" /etc/hosts "$kept%ssw-2.lab\n" "$long" "$HOST" "$HOST"
expect_eq "sandbox host name" sw-2.lab "$(hostname)"

# A last line gets its missing newline, and still counts as the old host line.
printf '::1 ip6\n%ssw-2.lab' "$HOST" > /etc/hosts
runs "last line without newline" "set_hostname?hostname:txt=sw3" "hostname sw3"
file_is "last line without newline" /etc/hosts '::1 ip6\n%ssw3\n' "$HOST"

# A missing file is created; the failed open's errno fails the call all the same.
rm /etc/hosts
expect_failure "missing /etc/hosts" "System set hostname failed." \
    "$LOGIN_XRL/set_hostname?hostname:txt=sw4"
file_is "missing /etc/hosts" /etc/hosts '%ssw4\n' "$HOST"
expect_eq "sandbox host name" sw4 "$(hostname)"

# A name the tool refuses (it takes no '_') is reported, though the file holds it.
expect_failure "name the tool refuses" "System set hostname failed." \
    "$LOGIN_XRL/set_hostname?hostname:txt=sw_5"
expect_eq "sandbox host name kept" sw4 "$(hostname)"

# --- Banners: one newline after the announcement, none after the message.
while read -r call path format; do
    runs "$call" "$call" ""
    file_is "$call" "$path" "$format"
done <<'TABLE'
set_login_announcement?announcement:txt=Welcome+to%0Asw4 /etc/motd Welcome\x20to\nsw4\n
set_login_message?message:txt=Authorized+use+only /etc/issue Authorized\x20use\x20only
set_login_announcement?announcement:txt= /etc/motd \n
delete_login_announcement?announcement:txt= /etc/motd %s
set_login_message?message:txt=x /etc/issue x
delete_login_message?message:txt= /etc/issue %s
TABLE
mount --bind /dev/full /etc/issue
expect_failure "message on a full disk" "System login set message failed." \
    "$LOGIN_XRL/set_login_message?message:txt=x"
umount /etc/issue

# --- Hostile text for every text operation: the answer ("-": success and a
# logged warning), and nothing changed anywhere, the journal included. (Each
# byte of the scripts' texts: the daemon's unit tests.)
call_xrl "$LOGIN_XRL/set_login_announcement?announcement:txt=kept" >/dev/null
call_xrl "$LOGIN_XRL/set_login_message?message:txt=kept" >/dev/null
printf 'server 10.0.0.9\n' > /etc/ntp-server
long64=$(printf 'a%.0s' $(seq 64))
max="System set hostname failed, max length is 63."
bad="System set hostname failed."
: > $JOURNAL
warnings=$(grep -c ' refused, ' /tmp/login.log)
while read -r note call; do
    before=$(state)
    if [ "$note" = - ]; then
        runs "$call" "$call" ""
        warnings=$((warnings + 1))
    else
        expect_failure "$call" "${note//_/ }" "$LOGIN_XRL/$call"
    fi
    expect_eq "$call: nothing changed" "$before" "$(state)"
done <<TABLE
${max// /_} set_hostname?hostname:txt=$long64
${bad// /_} set_hostname?hostname:txt=sw%00x
System_login_set_announcement_failed. set_login_announcement?announcement:txt=ab%00cd
System_login_set_message_failed. set_login_message?message:txt=ab%0A%00
System_login_delete_announcement_failed. delete_login_announcement?announcement:txt=x
System_login_delete_message_failed. delete_login_message?message:txt=%00
System_set_ssh_root_login_failed. set_ssh_root_login?root_login:txt=--help
System_set_ssh_root_login_failed. set_ssh_root_login?root_login:txt=yes+-x
System_set_ssh_protocol_version_failed. set_ssh_protocol_version?version:txt=-x
System_set_syslog_local_file_position_failed. set_syslog_file?location:txt=-x
System_set_syslog_local_file_position_failed. set_syslog_file?location:txt=../../etc/shadow
System_set_syslog_local_file_position_failed. set_syslog_file?location:txt=/tmp/log/../../etc/shadow
System_set_syslog_local_file_position_failed. set_syslog_file?location:txt=/etc/shadow
System_set_tacacs_shared_key_failed. set_tacacs_key?key:txt=--help
System_set_tacacs_shared_key_failed. set_tacacs_key?key:txt=s3cret%09-x
System_set_tacacs_auth_type_failed. set_tacacs_auth_type?auth_type:txt=-x
- clear_arp?text:txt=clear+arp+-x
- clear_neighbours?text:txt=clear+ipv6+neighbours+--help
- clear_arp?text:txt=clear+arp+x%3Breboot
- clear_arp?text:txt=clear%00arp+10.0.0.1
- clear_arp?text:txt=clear+arp+10.0.0.1%0Areboot
- clear_neighbours?text:txt=clear+ipv6%00neighbours+fe80::1
- clear_neighbours?text:txt=clear+ipv6+neighbours+%80
TABLE
expect_eq "one warning per refused clear" "$warnings" "$(grep -c ' refused, ' /tmp/login.log)"

# --- NTP: stop, ntpdate, hwclock, start, in that order; no clock set on delete.
# Stand-ins record their calls across the shell and execute_command.
for tool in /etc/init.d/ntp "$(command -v ntpdate)" "$(command -v hwclock)"; do
    printf '#!/bin/sh\necho "%s $*" >>%s\n' "${tool##*/}" $ORDER > "$tool"
done
rm -f /etc/ntp-server
ntp() {  # CALL ADDRESS EXPECTED-ORDER
    : > $ORDER
    : > $VELA_LOG
    call_xrl "$LOGIN_XRL/$1?server:ipv4=$2" >/dev/null || fail "$1 $2: answered $?"
    expect_eq "$1 $2: order" "$3" "$(cat $ORDER)"
    expect_eq "$1 $2: started by execute_command" \
        "execute_command /etc/init.d/ntp start" "$(cat $VELA_LOG)"
}
set_order() { printf 'ntp stop\nntpdate %s\nhwclock -w -u\nntp start' "$1"; }
runs "set_ntp_server commands" "set_ntp_server?server:ipv4=10.0.0.1" "$(ntp_lines 10.0.0.1)"
ntp set_ntp_server 10.0.0.10 "$(set_order 10.0.0.10)"
ntp set_ntp_server 10.0.0.1 "$(set_order 10.0.0.1)"
file_is "three sets" /etc/ntp-server 'server 10.0.0.1\nserver 10.0.0.10\nserver 10.0.0.1\n'
runs "delete_ntp_server commands" "delete_ntp_server?server:ipv4=10.0.0.1" \
    "/etc/init.d/ntp stop"
file_is "both lines of 10.0.0.1 gone" /etc/ntp-server 'server 10.0.0.10\n'
ntp delete_ntp_server 10.0.0.2 "$(printf 'ntp stop\nntp start')"
file_is "unknown server" /etc/ntp-server 'server 10.0.0.10\n'
ntp delete_ntp_server 10.0.0.10 "$(printf 'ntp stop\nntp start')"
file_is "last server" /etc/ntp-server ''

# --- Syslog and one-shot operations: the command line of each call.
while IFS='|' read -r call line; do
    runs "$call" "$call" "$line"
done <<'TABLE'
set_syslog_host?host:ipv4=10.99.0.2|/vela/bin/shell/syslog_host.sh 10.99.0.2
delete_syslog_host|/vela/bin/shell/syslog_host.sh 127.0.0.1
delete_syslog_host|/vela/bin/shell/syslog_host.sh 127.0.0.1
set_syslog_file?location:txt=disk|/vela/bin/shell/syslog_file_filename.sh disk
set_syslog_file?location:txt=|/vela/bin/shell/syslog_file_filename.sh 
set_syslog_file?location:txt=/tmp/log/sw-1..old|/vela/bin/shell/syslog_file_filename.sh /tmp/log/sw-1..old
reboot_system|/vela/bin/shell/reboot.sh
clear_arp?text:txt=|/vela/bin/shell/clear_arp.sh
clear_arp?text:txt=clear+arp|/vela/bin/shell/clear_arp.sh
clear_arp?text:txt=clear+arpX|/vela/bin/shell/clear_arp.sh X
clear_arp?text:txt=clear+arp+10.0.0.1|/vela/bin/shell/clear_arp.sh  10.0.0.1
clear_neighbours?text:txt=clear+ipv6+neighbours|/vela/bin/shell/clear_neigh6.sh
clear_neighbours?text:txt=clear+ipv6+neighboursY|/vela/bin/shell/clear_neigh6.sh Y
clear_neighbours?text:txt=clear+ipv6+neighbours+fe80::1|/vela/bin/shell/clear_neigh6.sh  fe80::1
noop_operation_a|
noop_operation_b|
TABLE

kill $FINDER_PID
finish
