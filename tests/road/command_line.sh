#!/usr/bin/env bash
# The command line against the real server: every command once, and the failures people meet.
# Usage: command_line.sh QORSERVER QORCTL QUICKSTART
set -euo pipefail
qorserver=$1 qorctl=$2 quickstart=$3
# shellcheck source=tests/support/own_server.sh
. "${0%/*}/../support/own_server.sh"
standard_input=/dev/null  # of the next call

start() {
  serve "$work/log" "$qorserver" --data "$work/data" --listen 127.0.0.1:0 "$@"
}

# expect EXIT STDOUT_PATTERN ARGUMENTS...: runs qorctl; the pattern is an extended regular expression
# that standard output (data) must match, or "-" for no output at all.
expect() {
  local wanted=$1 pattern=$2 got=0
  shift 2
  "$qorctl" --port "$port" "$@" >"$work/out" 2>"$work/err" <"$standard_input" || got=$?
  standard_input=/dev/null
  if [ "$got" -ne "$wanted" ]; then
    fail "qorctl $*: exit $got instead of $wanted: $(cat "$work/out" "$work/err")"
  elif [ "$pattern" = - ] && [ -s "$work/out" ]; then
    fail "qorctl $*: wrote data where none was due: $(cat "$work/out")"
  elif [ "$pattern" != - ] && ! tr '\n' ' ' <"$work/out" | grep -Eq -e "$pattern"; then
    fail "qorctl $*: no match for $pattern in $(cat "$work/out" "$work/err")"
  fi
}

# expect_error EXIT STDERR_PATTERN ARGUMENTS...
expect_error() {
  local wanted=$1 pattern=$2
  shift 2
  expect "$wanted" - "$@"
  tr '\n' ' ' <"$work/err" | grep -Eq -e "$pattern" ||
    fail "qorctl $*: no match for $pattern in $(cat "$work/err")"
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
expect_error 6 'SRV_COLLECTION_EXISTS.*; here: give --replace' restore animals before
expect 0 - restore animals before --replace
expect 0 '"matches":4' estimate animals fox
expect 0 '"key":"one.txt"' --output ndjson search animals fox
expect 0 'score +key' --output table search animals fox
expect 0 '"sent":3,"answered":3,"lost":0,"minMs":[0-9.]+' ping --count 3 --interval 0
expect 0 '"collection","verdict":"ok","finding":"animals has 6 documents"' doctor animals
expect 1 '"collection","verdict":"fail".*SRV_COLLECTION_UNKNOWN.*collection create nothing' \
  doctor nothing

# Every form of output, and what a list without rows is in it.
expect 0 '^\[ \{"rank":1.*\} \] $' search animals slow --output json
expect 0 '^\[\] $' search animals unheard --output json
expect 0 '^rank,score,key 1,[0-9.]+,sub/two.txt $' search animals slow --output csv
expect 0 "^1$(printf '\t')[0-9.]+$(printf '\t')sub/two.txt $" search animals slow --output plain
expect 0 '^status  state .* 0       ok' status --output table

# CSV from a file and from standard input, with a mapping; nothing is sent by a dry run.
printf 'isbn,Titel,text,year\r\n"c,1","Der ""Fuchs""","wild\nfox",7\r\nc2,Bird,eagle,8\r\nc3\r\n' \
  >"$work/books.csv"
csv=(--map key=isbn --map content=text --map title=Titel --index title --sortable year)
expect 8 '^\{"documents":2,"unreadable":1,' load animals "$work/books.csv" "${csv[@]}" --dry-run
expect 0 '"documents":6' estimate animals fox
expect 8 '"sent":2,"accepted":2,"rejected":0,"unconfirmed":0,"unreadable":1' \
  load animals "$work/books.csv" "${csv[@]}"
expect 0 '^\[ \{[^}]*"key":"c,1"\} \] $' search animals title:fuchs --output json
standard_input=$work/books.csv
expect 8 '"sent":2,"accepted":2' load animals - --format csv "${csv[@]}"
standard_input=$work/books.ndjson
expect 0 '"sent":2,"accepted":2' load animals - --key id --content text

# A document that the server rejects, kept and loaded again once its key is short enough.
long=$(printf 'k%.0s' {1..17000})
printf '{"id":"ok","text":"a"}\n{"id":"%s","text":"gnu","year":3}\n' "$long" >"$work/some.ndjson"
expect 8 '"sent":2,"accepted":1,"rejected":1' load animals "$work/some.ndjson" --key id \
  --content text --rejects "$work/rejects.ndjson"
grep -q 'SRV_DOCUMENT_KEY_INVALID' "$work/rejects.ndjson" || fail "the reject file has no reason"
sed -i "s/$long/short/" "$work/rejects.ndjson"
expect 0 '"sent":1,"accepted":1' load animals "$work/rejects.ndjson" --key id --content text
expect 0 '"key":"short"' search animals gnu
expect_error 2 'one of the files to load' load animals "$work" --rejects "$work/rejects.ndjson"

# Ctrl-C: what was read is brought in and counted.
expect 0 - collection create streamed
mkfifo "$work/endless"
(for i in {1..1500}; do echo "{\"key\":\"$i\",\"content\":\"text\"}"; done; exec sleep 120) \
  >"$work/endless" &
writer=$!
set -m  # a process group of its own, in which Ctrl-C is not ignored
"$qorctl" --port "$port" load streamed - <"$work/endless" >"$work/counts" 2>"$work/err" &
loader=$!
set +m
for look in {1..600}; do
  "$qorctl" --port "$port" collection list-status streamed | grep -q '"documents":1000' && break
  [ "$look" -lt 600 ] || fail "the first batch of an endless load is not there after a minute"
  sleep 0.1
done
kill -INT "$loader"
got=0
wait "$loader" || got=$?
kill "$writer"
[ "$got" -eq 130 ] || fail "an interrupted load ended with $got"
grep -Eq '"sent":(1[0-9]{3}),"accepted":\1,"rejected":0,"unconfirmed":0' "$work/counts" ||
  fail "an interrupted load counted $(cat "$work/counts" "$work/err")"

# Bytes: a request that is shown, sent by hand, and explained together with its reply.
"$qorctl" wire scalar-search index=animals query=fox --raw >"$work/request"
exec 3<>"/dev/tcp/127.0.0.1/$port"
cat "$work/request" >&3
timeout 2 cat <&3 >"$work/reply" || true
exec 3>&-
expect 0 'request 1, scalar-search.*the end of the header' wire decode "$work/request"
standard_input=$work/reply
expect 0 "status 1: success.*the document's key: 'extra'.*the end of the records" \
  wire decode - --kind scalar-search
truncate -s -2 "$work/reply"
expect 7 'status 1: success' wire decode "$work/reply" --kind scalar-search
grep -q 'expected 2 bytes of a record.s length, but 0 are left' "$work/err" || fail "$(cat "$work/err")"

expect 0 - takeover
expect 0 - collection close animals
expect 0 - collection drop animals

expect_error 6 "127.0.0.1.*$port.*SRV_COLLECTION_UNKNOWN" search animals fox
expect_error 6 'SRV_COLLECTION_UNKNOWN' collection drop animals
expect_error 2 '' search animals
expect_error 2 'line' search animals $'two\nlines'
expect_error 9 'no-such-file' doc add animals key "$work/no-such-file"

"$quickstart" "$port" | grep -q '^first ' || fail "quickstart did not find its document"
expect 0 - shutdown
wait "$server" && server=
expect_error 3 "status at 127.0.0.1:$port: ERR_CONNECT_SERVER.*cause: SOCKET_CONNECT" --retries 0 status
expect_error 3 "status at 127.0.0.1:$port, tried 2 times: ERR_CONNECT_SERVER" status
expect 1 '"connection","verdict":"fail"' doctor
expect 3 '"sent":2,"answered":0,"lost":2}' ping --count 2 --interval 0
expect 0 'ERR_CONNECT_SERVER: The connection could not be made' explain err_connect_server --output table
expect_error 2 'explain lists what is' explain ERR_NOTHING

printf 'secret\n' >"$work/token"
chmod 600 "$work/token"
"$qorserver" token --stdin <"$work/token" >"$work/tokens"
chmod 600 "$work/tokens"
start --token-file "$work/tokens"
expect 0 '"status":0' --token-file "$work/token" status
standard_input=$work/token
expect 0 '"token","verdict":"ok","finding":"accepted"' --token-file - doctor
expect_error 5 "127.0.0.1.*$port" status
expect 1 '"token","verdict":"fail".*ERR_SERVER_INVALID_AUTH' doctor

report "all commands did what they should"
