#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The completion of bash is sourced and tried; those of zsh and fish are at least read by their shells,
# and the manual page by its formatter, where these are installed.
# Usage: check_shell_files.sh QORCTL
set -euo pipefail
qorctl=$1
# shellcheck source=tests/support/checks.sh
. "${0%/*}/../support/checks.sh"

for shell in bash zsh fish; do "$qorctl" completion "$shell" >"$work/$shell"; done
"$qorctl" man >"$work/qorctl.1"

# expect PATTERN WORDS...: what is offered for the last word.
# shellcheck source=/dev/null
source "$work/bash"
expect() {
  local pattern=$1
  shift
  COMP_WORDS=(qorctl "$@") COMP_CWORD=$# COMPREPLY=()
  _qorctl
  [[ " ${COMPREPLY[*]} " =~ $pattern ]] || fail "qorctl $*: offers ${COMPREPLY[*]}, not $pattern"
}
cd "$work"
touch some-file
expect ' status .* collection ' ''
expect '^ status $' sta
expect '^ create drop open close update list-status $' collection ''
expect '^ create $' --port 5 collection cr
expect '^ --map $' load name --ma
expect '^ --host .* --version .*--index .*--dry-run $' load name --
expect '^ auto file ndjson csv $' load name path --format ''
expect '^ table json ndjson csv plain $' --output ''
expect '^ some-file $' load name so
expect '^ some-file $' --token-file so
expect '^ some-file $' doc add name key so
expect '^  $' search name query --limit ''
expect '^ delete-document decode $' wire de
expect '^ get-status get-server-version $' wire decode --kind get-
expect '^ SRV_QUERY_INVALID $' explain SRV_QU
expect '^ bash zsh fish $' completion ''

! command -v zsh >/dev/null || zsh -n "$work/zsh" || fail "zsh does not read its completion"
! command -v fish >/dev/null || fish -n "$work/fish" || fail "fish does not read its completion"
if command -v man >/dev/null; then
  format_page "$work/qorctl.1"
  grep -q -e '--dry-run' "$work/shown" || fail "the manual page lacks an option"
fi

report "completion and manual page are in order"
