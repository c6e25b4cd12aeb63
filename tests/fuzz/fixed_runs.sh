#!/bin/sh
# A fixed number of runs of a fuzz target, the same every time: fixed_runs.sh PROGRAM NAME RUNS FOUND
#
# They start from NAME's corpus in this folder, each file of which stays in it: this build does not tell the fuzzer which code
# an input reaches, and so which of them differ. What is found on the way goes to the folder FOUND, which is emptied first,
# and not to the corpus.
set -eu
program=$1 name=$2 runs=$3 found=$4
here=$(dirname "$0")
rm -rf "$found/$name"
mkdir -p "$found/$name"
exec "$program" -seed=1 -runs="$runs" -keep_seed=1 -timeout=60 -rss_limit_mb=2048 -verbosity=0 -print_final_stats=1 \
  -dict="$here/$name.dict" -artifact_prefix="$found/" "$found/$name" "$here/corpus_$name"
