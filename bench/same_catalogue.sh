#!/bin/sh
# The chain catalogue comes out of every compiler and optimisation level with the same bytes: same_catalogue.sh SOURCE_DIR
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$1/tools/ducddc"
echo
for compiler in g++ clang++; do
  for level in -O0 -O2; do
    $compiler -std=c++20 $level -ffp-contract=off -I../.. -I../../shared/ip gen_ducddc_catalogue.cpp chain.cpp rules.cpp \
      fir_design.cpp minimax.cpp cos_pi.cpp -o "$folder/generator"
    "$folder/generator" ../../data/ducddc/rules.json "$folder/tables.cpp" 2>/dev/null
    echo "catalogue by $compiler $level: $(sha256sum <"$folder/tables.cpp" | cut -c1-32)"
    cmp "$folder/tables.cpp" "$folder/first.cpp" 2>/dev/null || {
      [ ! -e "$folder/first.cpp" ] || { echo "differs: MISSED"; exit 1; }
      cp "$folder/tables.cpp" "$folder/first.cpp"
    }
  done
done
