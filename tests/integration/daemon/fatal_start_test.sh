#!/bin/bash
# A start-up whose first limit check fails (no /bin/sh: system() leaves errno
# set): the exception is logged as fatal, no XRL target is built (with no
# finder, one would wait for ever), and the exit status is still 0.
set -u
. "$(dirname "$0")/lib.sh"

mv /bin/sh /bin/sh.away
login >/tmp/login.log 2>&1
status=$?
mv /bin/sh.away /bin/sh

expect_eq "exit status" 0 $status
expect_eq "fatal lines" 1 "$(grep -c 'FATAL.*LoginException: LoginException from line [0-9]* of login_main.cc: ' /tmp/login.log)"
grep -q '+[0-9]* login_main.cc main' /tmp/login.log \
    || fail "the fatal line has no position prefix of main"
expect_eq "rules installed" "" "$(chain)"
finish
