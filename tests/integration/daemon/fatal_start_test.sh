#!/bin/bash
# A start-up whose first limit check fails: the daemon logs the exception at
# fatal level, builds no XRL target, and still exits with 0.
#
# The failure is real: without /bin/sh, system() cannot start the shell and
# leaves errno set, which the check after the first rule pair sees. No finder
# runs: had the target been built, the daemon would wait for the finder for
# ever instead of exiting.
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
cat /tmp/login.log
finish
