# Demo part: TACACS+. Two servers are configured, one that answers ping and
# one that does not: the script hears of both, the live-server file holds
# only the first. The card manager (played by xrl_peer) announces state 8
# and the periodic jobs start; local authentication is switched off and on.

AUTH_XRL="finder://login/login/0.1"
AUTH_CARD_XRL="finder://login/card_manager_client/0.1/card_state_changed?card:u32=1&state:u32"

auth_call() {
    echo "\$ call_xrl \"$AUTH_XRL/$1\""
    call_xrl "$AUTH_XRL/$1" || echo "(exit status $?)"
}

# auth_wait CONDITION: polls CONDITION for up to 20 s.
auth_wait() {
    local tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ $tries -gt 200 ] && { echo "(gave up waiting for: $1)"; return 1; }
        sleep 0.1
    done
}

echo
echo "== TACACS+ servers: 10.99.0.2 answers ping, 10.99.0.3 does not"
auth_lines=$(wc -l </var/log/sandbox/commands.log)
auth_call "set_tacacs_server?server:ipv4=10.99.0.2"
auth_call "set_tacacs_server?server:ipv4=10.99.0.3"
echo "(the pass runs both pings at once; the file is written when they end)"
auth_wait '[ -s /tmp/system/tac_live_servers ] && ! pgrep -f "ping -c 3 -i 0.2 -w 1" >/dev/null'
echo "\$ tail -n +$((auth_lines + 1)) /var/log/sandbox/commands.log"
tail -n +$((auth_lines + 1)) /var/log/sandbox/commands.log
echo "\$ cat /tmp/system/tac_live_servers; echo      # the live one only"
cat /tmp/system/tac_live_servers; echo

echo
echo "== Shared key, authentication type (\"ascii\" is passed on as \"login\"), flags"
auth_lines=$(wc -l </var/log/sandbox/commands.log)
auth_call "set_tacacs_disable?disable:bool=false"
auth_call "set_tacacs_key?key:txt=demo-key"
echo "(a key with ';' in it, %3B, would reach the root shell as a command: refused)"
auth_call "set_tacacs_key?key:txt=x%3Breboot"
auth_call "set_tacacs_auth_type?auth_type:txt=ascii"
auth_call "set_tacacs_enable_authorization?enable:bool=true"
auth_call "set_tacacs_enable_accounting?enable:bool=false"
echo "\$ tail -n +$((auth_lines + 1)) /var/log/sandbox/commands.log"
tail -n +$((auth_lines + 1)) /var/log/sandbox/commands.log
for f in /tmp/system/tac_enable_authorization /tmp/system/tac_enable_accounting; do
    echo "\$ stat -c '%A %s %n' $f; cat $f; echo"
    stat -c '%A %s %n' $f; cat $f; echo
done

echo
echo "== The card manager announces card state 8: the job timers start"
auth_lines=$(wc -l </var/log/sandbox/commands.log)
: >/var/log/sandbox/vela_common.log
# Made here: the redirection below opens it only once the background job runs.
: >/tmp/card_manager.out
echo "\$ xrl_peer --class card_manager --log /tmp/card_manager.log --after register_card_state \\"
echo "      --send \"$AUTH_CARD_XRL=8\" &"
xrl_peer --class card_manager --log /tmp/card_manager.log --after register_card_state \
    --send "$AUTH_CARD_XRL=8" >/tmp/card_manager.out 2>&1 &
echo "$!" >/tmp/card_manager.pid
auth_wait "grep -q 'state:u32=8 -> ' /tmp/card_manager.out"
echo "\$ cat /tmp/card_manager.log      # what the card manager received"
cat /tmp/card_manager.log
echo "\$ cat /tmp/card_manager.out      # what it sent"
cat /tmp/card_manager.out
echo "(waiting for the power-supply job at 5 s and the first liveness pass at 10 s;"
echo " fan control follows every 240 s, syslog info and temperature every 60 s)"
auth_wait "[ \$(tail -n +$((auth_lines + 1)) /var/log/sandbox/commands.log | grep -c '^ping ') -ge 2 ]"
echo "\$ cat /var/log/sandbox/vela_common.log      # the hardware library's record"
cat /var/log/sandbox/vela_common.log
echo "\$ tail -n +$((auth_lines + 1)) /var/log/sandbox/commands.log      # the liveness pass"
tail -n +$((auth_lines + 1)) /var/log/sandbox/commands.log
echo "\$ call_xrl \"$AUTH_CARD_XRL=10\"      # state 10 stops them"
call_xrl "$AUTH_CARD_XRL=10"

echo
echo "== Local authentication: the pam_unix line switched off, then on"
echo "\$ grep -n pam_unix /etc/pam.d/common-auth"
grep -n pam_unix /etc/pam.d/common-auth
auth_call "set_local_authentication?disable:bool=true"
echo "\$ grep -n pam_unix /etc/pam.d/common-auth"
grep -n pam_unix /etc/pam.d/common-auth
auth_call "set_local_authentication?disable:bool=false"
echo "\$ grep -n pam_unix /etc/pam.d/common-auth"
grep -n pam_unix /etc/pam.d/common-auth

auth_demo_stop() {
    local pid
    pid=$(cat /tmp/card_manager.pid 2>/dev/null) || pid=""
    [ -n "$pid" ] && kill "$pid" 2>/dev/null
    return 0
}
