#!/usr/bin/env bash
# What `make check` runs: every test and a fixed number of fuzz runs under the address and undefined-behaviour sanitizers, the
# tests of threads under ThreadSanitizer, and in the optimised build what optimisation may break. Stops at what fails. Ends
# with a table of the processor time and the closing line of the last test run.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p build
export IPTASKS_TIMES=$PWD/build/times.txt
rm -f "$IPTASKS_TIMES"

# measured NAME COMMAND...: the processor time of one step.
measured() {
  local TIMEFORMAT="$1 %U %S"
  { time "${@:2}" 2>&3; } 3>&2 2>>"$IPTASKS_TIMES"
}

# The closing lines of ctest, with the table before them.
with_table() {
  awk '/^[0-9]+% tests passed/ { system("tclsh tests/support/budget.tcl build") } { print; fflush() }'
}

# Headers compiled beforehand save the builds with clang some minutes, but no compiler cache knows what is built with them; so
# they are for where there is none, or one that holds next to nothing. The build with gcc does without, and so notices what a
# source forgets to include.
# IPTASKS_PRECOMPILED in the environment, ON or OFF, decides otherwise.
has_cache() {
  command -v ccache >/dev/null && [ "$(ccache --print-stats | awk '$1 == "files_in_cache" { print $2 }')" -gt 1000 ]
}
if has_cache; then precompiled=OFF; else precompiled=ON; fi

for build in asan tsan smoke; do
  preset=$build
  [ $build != smoke ] || preset=release
  echo "step $build build/$preset $(date +%s)" >>"$IPTASKS_TIMES"
  headers=()
  [ $build = smoke ] || headers=(-DIPTASKS_PRECOMPILED=${IPTASKS_PRECOMPILED:-$precompiled})
  measured configure cmake --preset $preset "${headers[@]}" >/dev/null
  measured build cmake --build --preset $build
  if [ $build = smoke ]; then ctest --preset $build | with_table; else ctest --preset $build; fi
done
