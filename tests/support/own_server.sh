# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034  # port is for those who source this
# Sourced by scripts that test programs against a server of their own: a work folder, which goes at
# the end together with the server, and failures that are counted. Sets: work, server, port, failures.
work=$(mktemp -d)
server=
failures=0
finish() {
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  [ -z "$server" ] || wait "$server" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# serve LOG QORSERVER ARGUMENTS...: starts it with its standard error behind LOG; sets server and port.
serve() {
  local log=$1 line
  shift
  rm -f "$work/said"
  mkfifo "$work/said"
  "$@" >"$work/said" 2>>"$log" &
  server=$!
  read -r -t 60 line <"$work/said" || { echo "no address from $*: $(cat "$log")" >&2; exit 1; }
  port=${line##*:}
}

# report WORDS...: ends the script, with the words when nothing failed.
report() {
  [ "$failures" -eq 0 ] || { echo "$failures failed"; exit 1; }
  echo "$*"
}
