#!/usr/bin/env bash
# Runs a test: run_test.sh FAMILY/NAME [--each] COMMAND...
#
# A program of GoogleTest that ends well before its tests have ended has failed. With --each every case of such a program is
# a process of its own. With IPTASKS_TIMES in the environment, the test's processor time is added to that file: its name,
# seconds in the program and seconds in the system.
set -u
name=$1
shift

# GoogleTest makes this file before its first case and takes it away after its last.
unfinished=$(mktemp -u)
export TEST_PREMATURE_EXIT_FILE=$unfinished
trap 'rm -f "$unfinished"' EXIT

run() {
  "$@" || return
  [ ! -e "$unfinished" ] || { echo "$name: ended before its tests did"; return 1; }
}

run_each() {
  local cases failed=0 case
  cases=$("$@" --gtest_list_tests | awk '/^[^ ]/ { suite = $1 } /^  / { print suite $1 }')
  [ -n "$cases" ] || { echo "Running 0 tests"; return 1; }
  for case in $cases; do run "$@" --gtest_filter="$case" || failed=1; done
  return $failed
}

how=run
if [ "$1" = --each ]; then
  how=run_each
  shift
fi
TIMEFORMAT="$name %U %S"
if [ -n "${IPTASKS_TIMES:-}" ]; then
  { time $how "$@" 2>&3; } 3>&2 2>>"$IPTASKS_TIMES"
else
  $how "$@"
fi
