#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs one example against a server of its own, on a free loopback port with data in a temporary folder,
# and compares what it prints with the lines behind "Prints:" at the end of its source. Without a port, or
# with what is none, it has to say how it is called.
# Usage: run.sh QORSERVER EXAMPLE SOURCE
set -euo pipefail
qorserver=$1 example=$2 source=$3
# shellcheck source=tests/support/own_server.sh
. "${0%/*}/../tests/support/own_server.sh"

options=()
token=$(sed -n 's/.*u"\(example-token\)".*/\1/p' "$source")
if [ -n "$token" ]; then
  (umask 077 && "$qorserver" token --stdin <<<"$token" >"$work/tokens")
  options=(--token-file "$work/tokens")
fi
serve "$work/log" "$qorserver" --data "$work/data" --listen 127.0.0.1:0 "${options[@]}"
sed -n '\,^// Prints:$,,$ { \,^// Prints:$,d; s,^// ,,p }' "$source" >"$work/expected"
[ -s "$work/expected" ] || { echo "$source does not say what it prints" >&2; exit 1; }
timeout 60 "$example" "$port" >"$work/printed" || { cat "$work/log" >&2; exit 1; }
diff "$work/expected" "$work/printed"

# An example that needs no server takes whatever stands there.
if grep -q 'Usage: [a-z]* PORT (not used)' "$source"; then exit 0; fi
for arguments in '' 'nowhere' '65536' '8715 8716'; do
  status=0
  # shellcheck disable=SC2086  # the words are arguments
  timeout 60 "$example" $arguments 2>"$work/said-usage" || status=$?
  if [ "$status" != 2 ] || ! grep -q "^usage: $(basename "$source" .cc) PORT" "$work/said-usage"; then
    echo "given '$arguments' it ends with $status and says:" >&2
    cat "$work/said-usage" >&2
    exit 1
  fi
done
echo "printed what it should"
