#!/bin/bash
# Outside the sandbox: a run that adds a user, renames the host and adds
# firewall rules leaves the machine as it was (account files, host name,
# firewall read without iptables, mounts, namespaces, processes), also when
# killed mid-run; exit statuses and the refusal without root as documented.
# usage: outside.sh SANDBOX  (the path of scripts/sandbox)
source "$(dirname "$0")/../daemon/lib.sh"
sandbox=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

snapshot() {
  local dir=$scratch/$1
  mkdir -p "$dir"
  cp /etc/passwd /etc/shadow /etc/group /etc/gshadow /etc/hosts "$dir/"
  uname -n >"$dir/hostname"
  cat /proc/net/ip_tables_names /proc/net/ip6_tables_names >"$dir/tables" 2>&1
  if command -v nft >/dev/null; then nft list ruleset >"$dir/nft" 2>&1; fi
  sort /proc/self/mountinfo >"$dir/mounts"
  ls -A /run/netns >"$dir/netns" 2>/dev/null || true
}

# compare NAME: the machine now matches snapshot "before".
compare() {
  snapshot after
  local file
  for file in passwd shadow group gshadow hosts hostname tables nft mounts netns; do
    [[ -e $scratch/before/$file ]] || continue
    cmp -s "$scratch/before/$file" "$scratch/after/$file" || fail "$1: $file unchanged"
  done
  rm -rf "$scratch/after"
}

# leftovers TOKEN: the processes of the run still alive (TOKEN in their
# command line or environment); a namespace outlives a run only through one.
leftovers() {
  local proc words
  for proc in /proc/[0-9]*; do
    mapfile -d "" -t words 2>/dev/null <"$proc/environ" || continue
    if [[ " ${words[*]} " == *" TOKEN=$1 "* ]]; then
      echo "process ${proc#/proc/}"
      continue
    fi
    mapfile -d "" -t words 2>/dev/null <"$proc/cmdline" || continue
    [[ ${words[*]} == *"$1"* ]] && echo "process ${proc#/proc/}: ${words[*]}"
  done
}

# no_trace NAME: nothing of the run with $token is left once torn down.
no_trace() {
  nothing_left() { [[ -z $(leftovers "$token") ]]; }
  poll 30 nothing_left
  expect_eq "$1: no process of the run is left" "" "$(leftovers "$token")"
}

# The run's changes, a marked process and the agent, then READY.
changes='
  addgroup -q bob
  useradd -d /tmp/home/bob -l -m -s /usr/bin/velash_pty.sh -G xorp -g bob bob
  echo "127.0.1.1 sw-sandbox" >>/etc/hosts
  hostname sw-sandbox
  iptables -I INPUT -p tcp --dport 23 -m state --state NEW -m recent --set --name TELNET
  iptables -A INPUT -p tcp --dport 8080 -j DROP
  ip6tables -A INPUT -p tcp --dport 8080 -j DROP
  iptables-legacy -A INPUT -p udp --dport 161 -j DROP
  bash -c "exec -a probe-$TOKEN sleep 1000" &
  /vela/bin/vela_sh_remote &
  echo READY'

# poll SECONDS CMD...: runs CMD until it succeeds; false if it never did.
poll() {
  local end=$((SECONDS + $1)); shift
  until "$@"; do ((SECONDS < end)) || return 1; sleep 0.1; done
}

snapshot before

# 1. A run that ends by itself.
token=done-$$-$RANDOM
TOKEN=$token "$sandbox" -- bash -c "$changes" >"$scratch/out1" 2>&1
expect_eq "a run that ends: exit status 0" "0" "$?"
grep -q READY "$scratch/out1" || fail "a run that ends: it made no changes"
compare "a run that ends"
no_trace "a run that ends"

# 2. A run whose sandbox script is killed with SIGKILL mid-run.
token=kill-$$-$RANDOM
TOKEN=$token "$sandbox" -- bash -c "$changes; sleep 1000" >"$scratch/out2" 2>&1 &
pid=$!
poll 60 grep -q READY "$scratch/out2" || fail "a killed run: it made no changes"
kill -9 "$pid"
wait "$pid" 2>/dev/null
compare "a killed run"
no_trace "a killed run"

# 3. Exit statuses.
"$sandbox" -- sh -c 'exit 42'
expect_eq "the command's exit status is the sandbox's" "42" "$?"
"$sandbox" -- sh -c 'kill -9 $$'
expect_eq "a command killed by a signal gives 128+signal" "137" "$?"

# 4. Refusal without root (script on stdin: nobody may not read the tree).
out=$(setpriv --reuid=65534 --regid=65534 --clear-groups bash -s -- -- true \
      <"$sandbox" 2>&1)
expect_eq "not root: refused with 125" "125" "$?"

compare "after all runs"
finish
