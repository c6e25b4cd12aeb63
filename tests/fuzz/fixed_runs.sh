#!/bin/sh
# A fixed number of runs of a fuzz target, the same every time: fixed_runs.sh PROGRAM NAME RUNS FOUND
#
# Each file of NAME's corpus in this folder has its share of them, in a process of its own: this build does not tell the
# fuzzer which code an input reaches, and of several files that it knows nothing of it changes the shortest alone. What is
# found on the way goes to the folder FOUND, which is emptied first, and not to the corpus.
set -eu
program=$1 name=$2 runs=$3 found=$4
here=$(dirname "$0")
rm -rf "$found/$name"
mkdir -p "$found/$name"
set -- "$here/corpus_$name"/*
each=$((runs / $#))
for seed; do
  echo "$seed"
  "$program" -seed=1 -runs="$each" -keep_seed=1 -timeout=60 -rss_limit_mb=2048 -verbosity=0 -print_final_stats=1 \
    -dict="$here/$name.dict" -artifact_prefix="$found/" -seed_inputs="$seed" "$found/$name"
done
