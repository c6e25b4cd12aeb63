#!/bin/sh
# The processor time that tests/check.sh noted, in seconds by step, with the tests that take most: times.sh FILE
awk '
  $1 == "step" { step = $2; steps[++count] = step; next }
  { gsub(/,/, "."); seconds = $2 + $3; total[step] += seconds; all += seconds }
  $1 == "configure" || $1 == "build" { building[step] += seconds; next }
  { testing[step] += seconds; printf "%s %.2f %s\n", "test", seconds, step " " $1 | "sort -k2,2 -rn | head -n 12 >&2" }
  END {
    close("sort -k2,2 -rn | head -n 12 >&2")
    print "\nprocessor time, s      building   testing     total"
    for (i = 1; i <= count; ++i) {
      step = steps[i]
      printf "%-20s %10.0f %9.0f %9.0f\n", step, building[step], testing[step], total[step]
    }
    printf "%-20s %10s %9s %9.0f\n\n", "all", "", "", all
  }' "$1"
