#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The first steps of the README as a newcomer takes them, line by line; the build is the one under test, and
# the server takes a free port and a folder of its own.
# Usage: first_steps.sh SOURCE_TREE QORSERVER QORCTL
set -euo pipefail
source=$1 qorserver=$2 qorctl=$3
work=$(mktemp -d)
server=
finish() {
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  [ -z "$server" ] || wait "$server" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT
cp -r "$source/docs" "$work/docs"
cd "$work"

start() {
  mkfifo said
  "$qorserver" "$@" --listen 127.0.0.1:0 >said &
  server=$!
  read -r -t 60 listening <said
}

# step LINE: one line of the page; "handled" counts what was not passed over.
handled=0
step() {
  case $1 in
    scripts/install-deps.sh | 'cmake '* | 'export PATH='*) return ;;
    'qorserver --data /tmp/first-steps &') start --data "$work/data" ;;
    'qorctl '*)
      echo "$1"
      eval "\"$qorctl\" --port ${listening##*:} ${1#qorctl }" >out 2>err </dev/null ||
        { echo "FAILED: $1"; cat out err; exit 1; }
      [[ $1 != *search* ]] || grep -q '\.md' out || { echo "found nothing: $1"; exit 1; }
      ;;
    *) echo "the page has a line that nobody tests: $1"; exit 1 ;;
  esac
  handled=$((handled + 1))
}

while IFS= read -r line; do
  step "$line"
done < <(sed -n '/^## First steps$/,/^## In a program$/p' "$source/README.md" | sed -n '/^```$/,/^```$/p' |
  grep -v '^```$')
wait "$server" && server=
((handled >= 7)) || { echo "only $handled lines were found"; exit 1; }
