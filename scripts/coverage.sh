#!/usr/bin/env bash
# What the ordinary tests and the quick torture programs reach of the client library, by Clang's
# source-based coverage: a table by file, then the lines and branches that nothing reached. Exit
# status 1 unless every line, and 97 of 100 branches, of each of the four folders are reached.
# Usage: scripts/coverage.sh [ctest options]. BUILD_DIR overrides build/coverage.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

folders=(comm/transport comm/response comm/results comm/support)
branch_goal=97

# Lines that no test can reach: file | text of the line before and of the line | why. Keep it short.
unreachable=(
  "comm/transport/qorCorvaneClient.cc|catch (const oss::NLSException&) { throw;|connecting converts no text that can fail; the handler keeps the rule that such failures pass everywhere"
)

build=${BUILD_DIR:-build/coverage}
bash scripts/install-deps.sh test fuzz
cmake --preset coverage -B "$build" >&2
cmake --build "$build" --parallel 2 >&2
rm -rf "$build/profiles"
profiles=$(realpath -m "$build/profiles")
export LLVM_PROFILE_FILE=$profiles/%4m.profraw
ctest --test-dir "$build" --parallel 2 -E '^(install|hardening|budget)' --output-on-failure "$@" >&2
export LLVM_PROFILE_FILE=$profiles/%p.profraw  # merging in place needs memory that these deny
programs=("$build/tests/comm/comm_test" "$build/tests/comm/transport/transport_test" "$build/fuzz/fuzz_replay")
for name in segmentation sockets memory desync hang; do
  programs+=("$build/tests/torture/torture-$name")
  "${programs[-1]}" --quick >&2
done

llvm-profdata merge -o "$build/all.profdata" "$build"/profiles/*.profraw
sources=("${programs[0]}" "${programs[@]/#/-object=}" "${folders[@]}")
llvm-cov report -instr-profile "$build/all.profdata" -show-region-summary=0 "${sources[@]}" \
  >"$build/report.txt" 2>/dev/null
llvm-cov export -format=lcov -instr-profile "$build/all.profdata" "${sources[@]}" \
  >"$build/coverage.lcov" 2>/dev/null

# Columns of the report: file, functions and missed, %, lines and missed, %, branches and missed, %.
# Of a template it takes the best instance, which suits branches; lines are counted over all of them.
awk -v goal="$branch_goal" -v root="$PWD/" -v excuses="$(printf '%s\n' "${unreachable[@]-}")" '
  function excused(file, text,   i) {
    for (i = 1; i <= rows; ++i) {
      split(row[i], part, "|")
      if (part[1] == file && index(text, part[2]) != 0) { used[i] = 1; return 1 }
    }
    return 0
  }
  function lineOf(file, number,   i) {
    for (i = 1; i <= number; ++i) {
      before = text
      if ((getline text < (root file)) <= 0) break
      sub(/^ +/, "", text)
    }
    close(root file)
    return text
  }
  BEGIN { rows = split(excuses, row, "\n"); if (row[1] == "") rows = 0 }
  FILENAME ~ /report.txt$/ {
    if ($1 ~ /\.(cc|h)$/) {
      split($1, path, "/")
      branches[path[1]] += $8; lost[path[1]] += $9
    }
    next
  }
  /^SF:/ { file = substr($0, 4); sub("^" root, "", file) }
  /^DA:/ {
    split(substr($0, 4), at, ",")
    split(file, path, "/")
    ++lines[path[2]]
    if (at[2] == 0) {
      ++missed[path[2]]
      lineOf(file, at[1])
      if (excused(file, before " " text)) ++allowed[path[2]]
      else list = list "\n  line   " file ":" at[1] "  " text
    }
  }
  /^BRDA:/ {
    split(substr($0, 6), at, ",")
    if ((at[4] == "-" || at[4] == 0) && !seen[file at[1]]++)
      list = list "\n  branch " file ":" at[1] "  " lineOf(file, at[1])
  }
  END {
    print "\nnot reached (a branch of a template: by one of its instances at least):" list
    printf "\n%-12s %8s %8s %8s %9s %8s %8s\n", "folder", "lines", "missed", "excused", "branches",
      "missed", "percent"
    for (i in lines) {
      percent = branches[i] == 0 ? 100 : 100 * (branches[i] - lost[i]) / branches[i]
      bad = missed[i] > allowed[i] || percent < goal
      printf "%-12s %8d %8d %8d %9d %8d %8.2f %s\n", i, lines[i], missed[i], allowed[i], branches[i],
        lost[i], percent, bad ? "BELOW THE GOAL" : ""
      failed += bad
    }
    for (i = 1; i <= rows; ++i) if (!used[i]) { print "excused but reached or gone: " row[i]; ++failed }
    exit failed != 0
  }' "$build/report.txt" "$build/coverage.lcov"
