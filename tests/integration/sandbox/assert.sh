# Assertion helpers for the sandbox tests (bash): each check prints "ok -" or
# "FAIL -" and the difference; `finish` exits non-zero when any failed.
_failures=0
_fail() { echo "FAIL - $1"; _failures=$((_failures + 1)); }

# check_eq NAME EXPECTED ACTUAL
check_eq() {
  if [[ $2 == "$3" ]]; then echo "ok - $1"; else
    _fail "$1"
    diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") | sed 's/^/    /'
  fi
}
# check NAME CMD [ARG...]: CMD must succeed; check_not: it must fail.
check() { local n=$1; shift; if "$@"; then echo "ok - $n"; else _fail "$n (failed: $*)"; fi; }
check_not() { local n=$1; shift; if "$@"; then _fail "$n (succeeded: $*)"; else echo "ok - $n"; fi; }

finish() {
  ((_failures == 0)) || { echo "$_failures check(s) failed"; exit 1; }
  echo "all checks passed"
}
