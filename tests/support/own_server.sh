# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034  # port is for those who source this
# Sourced by scripts that test programs against a server of their own, which goes at the end together
# with the work folder. Sets: server, port, and what checks.sh does.
# shellcheck source=tests/support/checks.sh
. "${BASH_SOURCE[0]%/*}/checks.sh"
server=
finish() {
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  [ -z "$server" ] || wait "$server" 2>/dev/null || true
  rm -rf "$work"
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
