#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares what a request, a document and a hit cost in heap allocations and instructions with the
# budget file. Exit status 1 when a figure is above its budget. Instructions are counted by callgrind,
# so they repeat; they hold for an optimised build by the compiler of Debian 12.
# usage: check_budget.sh [--update] [QOR_BUDGET_PROGRAM]
#   --update   writes a new budget: allocations as counted, instructions and 3 % more
set -euo pipefail

update=0
if [[ ${1:-} == --update ]]; then update=1; shift; fi
here=$(cd "$(dirname "$0")" && pwd)
program=${1:-$here/../build/bench/bench/qor-budget}
budget=$here/budget.txt

command -v valgrind > /dev/null ||
  { echo "check_budget: valgrind is missing; scripts/install-deps.sh test installs it" >&2; exit 2; }
[[ -x $program ]] ||
  { echo "check_budget: there is no $program; build it with -DQORCOMM_BUILD_BUDGET=ON" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$program" --allocations > "$work/allocations"
valgrind --quiet --tool=callgrind --collect-atstart=no --trace-children=no \
  --callgrind-out-file="$work/out" "$program" --instructions 2> "$work/log" ||
  { cat "$work/log" >&2; exit 2; }

# "part repeats instructions" for each dump; what the larger one has more belongs to its repeats.
awk '/^desc: Trigger: Client Request:/ { part = $5; repeats = $6 }
     /^totals:/ && part != "" { print part, repeats, $2; part = "" }' "$work"/out.* > "$work/dumps"
sort -k1,1 -k2,2n "$work/dumps" |
  awk '$1 == part { printf "%s %.1f\n", part, ($3 - total) / ($2 - repeats) }
       { part = $1; repeats = $2; total = $3 }' > "$work/instructions"
# "part allocations instructions", in the order of the program.
awk 'NR == FNR { instructions[$1] = $2; next }
     !($1 in instructions) { print "check_budget: no dump for " $1 > "/dev/stderr"; exit 2 }
     { print $1, $2, instructions[$1] }' "$work/instructions" "$work/allocations" > "$work/counted"

if ((update)); then
  {
    echo "# What one request, document or hit may cost; bench/check_budget.sh --update writes it."
    echo "# part allocations instructions"
    awk '{ printf "%s %s %.0f\n", $1, $2, $3 * 1.03 + 0.5 }' "$work/counted"
  } > "$budget"
fi

awk 'NR == FNR { if ($0 !~ /^#/) { allocations[$1] = $2; instructions[$1] = $3; parts++ } next }
     { checked++ }
     !($1 in allocations) { printf "%s: not in the budget\n", $1; bad = 1; next }
     { verdict = "" }
     $2 > allocations[$1] { verdict = verdict "  TOO MANY ALLOCATIONS"; bad = 1 }
     $3 > instructions[$1] { verdict = verdict "  TOO MANY INSTRUCTIONS"; bad = 1 }
     { printf "%-16s %8s allocations of %-8s %10s instructions of %-10s%s\n", $1, $2,
       allocations[$1], $3, instructions[$1], verdict }
     END { if (checked != parts) { print "the budget names other parts than the program"; bad = 1 }
           exit bad }' "$budget" "$work/counted"
