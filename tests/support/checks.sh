# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by scripts that check programs: a work folder, which goes at the end, and failures that are
# counted. Sets: work, failures.
work=$(mktemp -d)
failures=0
finish() { rm -rf "$work"; }
trap finish EXIT

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# format_page PAGE: what `man` makes of it stands in the work folder as "shown"; its warnings are failures.
format_page() {
  local warnings
  warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$1" 2>&1 >"$work/shown")
  [ -z "$warnings" ] || fail "man says: $warnings"
}

# report WORDS...: ends the script, with the words when nothing failed.
report() {
  [ "$failures" -eq 0 ] || { echo "$failures failed"; exit 1; }
  echo "$*"
}
