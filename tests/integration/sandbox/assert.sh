# Tiny assertion helpers for the sandbox tests (bash). Source this file;
# each check prints "ok - NAME" or "FAIL - NAME" and what differed, and
# `finish` exits non-zero when any check failed.

_failures=0

_fail() {
  echo "FAIL - $1"
  _failures=$((_failures + 1))
}

# check_eq NAME EXPECTED ACTUAL
check_eq() {
  if [[ $2 == "$3" ]]; then
    echo "ok - $1"
  else
    _fail "$1"
    diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") | sed 's/^/    /'
  fi
}

# check NAME CMD [ARG...]: CMD must succeed.
check() {
  local name=$1
  shift
  if "$@"; then echo "ok - $name"; else _fail "$name (failed: $*)"; fi
}

# check_not NAME CMD [ARG...]: CMD must fail.
check_not() {
  local name=$1
  shift
  if "$@"; then _fail "$name (succeeded: $*)"; else echo "ok - $name"; fi
}

finish() {
  if ((_failures)); then
    echo "$_failures check(s) failed"
    exit 1
  fi
  echo "all checks passed"
}
