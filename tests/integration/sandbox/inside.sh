#!/bin/bash
# Inside the sandbox: the command journal and a read-only project tree (the
# daemon's tests use, and so check, the rest).
source "$(dirname "$0")/../daemon/lib.sh"
journal=/var/log/sandbox/commands.log
top=$(cd "$(dirname "$0")/../../.." && pwd)

# The journal: `sh -c` lines only, escaped, in order, never interleaved.
: >"$journal"
/bin/sh -c 'echo a\b >/dev/null
echo "c\\nd" >/dev/null'
python3 -c 'import os; os.system("echo one >/dev/null"); os.popen("echo two").read()'
printf 'echo from-file\n' >/tmp/script.sh
expect_eq "sh runs a script file" "from-file" "$(sh /tmp/script.sh)"
expect_eq "sh -c passes \$0 and arguments, keeps the status" $'name x y\n3' \
  "$(sh -c 'echo "$0 $*"; exit 3' name x y; echo $?)"
expect_eq "sh -c lines, escaped, in order" \
  'echo a\\b >/dev/null\necho "c\\\\nd" >/dev/null
echo one >/dev/null
echo two
echo "$0 $*"; exit 3' "$(cat "$journal")"

: >"$journal"
long=$(printf 'x%.0s' {1..3000})
for i in $(seq 1 40); do
  sh -c ": $i $long" &
done
wait
expect_eq "concurrent lines arrive whole" "40 40" \
  "$(grep -Ec "^: [0-9]+ x{3000}$" "$journal") $(wc -l <"$journal")"

touch "$top/.sandbox-write-test" 2>/dev/null && fail "the project tree is writable"
finish
