#!/usr/bin/env bash
# The command line against the real server: every command once, and the failures people meet.
# Usage: command_line.sh QORSERVER QORCTL QUICKSTART
set -euo pipefail
qorserver=$1 qorctl=$2 quickstart=$3
work=$(mktemp -d)
server=
finish() {
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  [ -z "$server" ] || wait "$server" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT
failures=0

start() {
  rm -f "$work/said"
  mkfifo "$work/said"
  "$qorserver" --data "$work/data" --listen 127.0.0.1:0 "$@" >"$work/said" 2>"$work/log" &
  server=$!
  read -r -t 60 line <"$work/said"
  port=${line##*:}
}

# expect EXIT STDOUT_PATTERN ARGUMENTS...: runs qorctl; the pattern is an extended regular expression
# that standard output (data) must match, or "-" for no output at all.
expect() {
  local wanted=$1 pattern=$2 got=0
  shift 2
  "$qorctl" --port "$port" "$@" >"$work/out" 2>"$work/err" </dev/null || got=$?
  if [ "$got" -ne "$wanted" ]; then
    echo "FAILED: qorctl $*: exit $got instead of $wanted"; cat "$work/out" "$work/err"
    failures=$((failures + 1))
  elif [ "$pattern" = - ] && [ -s "$work/out" ]; then
    echo "FAILED: qorctl $*: wrote data where none was due"; cat "$work/out"
    failures=$((failures + 1))
  elif [ "$pattern" != - ] && ! tr '\n' ' ' <"$work/out" | grep -Eq -e "$pattern"; then
    echo "FAILED: qorctl $*: no match for $pattern in"; cat "$work/out" "$work/err"
    failures=$((failures + 1))
  fi
}

# expect_error EXIT STDERR_PATTERN ARGUMENTS...
expect_error() {
  local wanted=$1 pattern=$2
  shift 2
  expect "$wanted" - "$@"
  if ! tr '\n' ' ' <"$work/err" | grep -Eq -e "$pattern"; then
    echo "FAILED: qorctl $*: no match for $pattern in"; cat "$work/err"
    failures=$((failures + 1))
  fi
}

mkdir -p "$work/texts/sub"
printf 'the quick fox' >"$work/texts/one.txt"
printf 'a slow fox' >"$work/texts/sub/two.txt"
printf 'no animal' >"$work/texts/three.txt"
cat >"$work/books.ndjson" <<'EOF'
{"id": "b1", "text": "fox tales", "year": 1999}
{"id": "b2", "text": "tales of birds", "year": 300}
EOF

start
expect 0 'qorserver' version
expect 0 '"status":0' status
expect 0 - collection create animals --lang en --display-name 'Animal stories'
expect 0 - collection open animals
expect 0 '"sent":3,"accepted":3,"rejected":0' load animals "$work/texts"
expect 0 '"sent":2,"accepted":2' load animals "$work/books.ndjson" --key id --content text \
  --index year --sortable year
expect 0 - doc add animals extra "$work/texts/one.txt"
expect 0 - collection update animals
expect 0 '"key":"(one.txt|extra)".*"key":"(one.txt|extra)"} $' search animals quick
expect 0 '"key":"sub/two.txt"' search animals 'slow AND fox' --stream
expect 0 '"key":"b2".*"key":"b1"' search animals tales --sort year
expect 0 '^[^}]*"key":"b1"[^}]*} $' search animals tales --sort year --offset 1 --limit 1
expect 0 '"matches":4,.*"documents":6' estimate animals fox
expect 0 'Animal stories' collection list-status animals
expect 0 - backup animals before
expect 0 - doc delete animals extra
expect 0 - collection update animals
expect 0 '"matches":3' estimate animals fox
expect 0 - restore animals before
expect 0 '"matches":4' estimate animals fox
expect 0 '"key":"one.txt"' --output ndjson search animals fox
expect 0 'score +key' --output table search animals fox
expect 0 - takeover
expect 0 - collection close animals
expect 0 - collection drop animals

expect_error 6 "127.0.0.1.*$port.*SRV_COLLECTION_UNKNOWN" search animals fox
expect_error 6 'SRV_COLLECTION_UNKNOWN' collection drop animals
expect_error 2 '' search animals
expect_error 2 'line' search animals $'two\nlines'
expect_error 9 'no-such-file' doc add animals key "$work/no-such-file"

if ! "$quickstart" "$port" | grep -q '^first '; then
  echo "FAILED: quickstart did not find its document"; failures=$((failures + 1))
fi
expect 0 - shutdown
wait "$server" && server=
expect_error 3 "127.0.0.1.*$port" --retries 0 status

printf 'secret\n' >"$work/token"
chmod 600 "$work/token"
start --token-file "$work/token"
expect 0 '"status":0' --token-file "$work/token" status
expect_error 5 "127.0.0.1.*$port" status

if [ "$failures" -ne 0 ]; then
  echo "$failures failed"; exit 1
fi
echo "all commands did what they should"
