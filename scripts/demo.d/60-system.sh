# Demo part: the switch's own settings. A host name, the login banners, two
# NTP servers and a remote syslog host are set; the files, the sandbox's host
# name and the command lines the daemon ran are shown.

SYSTEM_XRL="finder://login/login/0.1"

# Shows a call and makes it.
system_call() {
    echo "\$ call_xrl \"$SYSTEM_XRL/$1\""
    call_xrl "$SYSTEM_XRL/$1" || echo "(exit status $?)"
}

# Shows a file, with a visible end ($) on each line.
system_show() {
    echo "\$ cat -A $1"
    cat -A "$1"
    [ -s "$1" ] && [ "$(tail -c 1 "$1" | od -An -c | tr -d ' ')" != '\n' ] \
        && echo " <- no newline at the end"
    return 0
}

echo
echo "== Host name, banners, NTP and syslog"
system_lines_before=$(wc -l </var/log/sandbox/commands.log)
echo "\$ hostname"
hostname
system_call "set_hostname?hostname:txt=core-sw1.lab"
system_call "set_login_announcement?announcement:txt=Welcome+to+core-sw1"
system_call "set_login_message?message:txt=Authorized+use+only.+"
system_call "set_ntp_server?server:ipv4=10.99.0.2"
system_call "set_ntp_server?server:ipv4=10.99.0.3"
system_call "set_syslog_host?host:ipv4=10.99.0.2"
system_call "set_syslog_file?location:txt=disk"

echo
echo "== What changed (cat -A shows each line's end as \$)"
echo "\$ hostname"
hostname
system_show /etc/hosts
system_show /etc/motd
system_show /etc/issue
system_show /etc/ntp-server

echo
echo "== Command lines the system settings ran, in order"
echo "\$ tail -n +$((system_lines_before + 1)) /var/log/sandbox/commands.log"
tail -n +$((system_lines_before + 1)) /var/log/sandbox/commands.log
echo "(after each hwclock the ntp service is started without a shell, through execute_command:)"
echo "\$ grep ntp /var/log/sandbox/vela_common.log"
grep ntp /var/log/sandbox/vela_common.log
