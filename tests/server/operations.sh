#!/usr/bin/env bash
# What whoever runs the server meets: settings, exit codes, the log, reloading.
# Usage: operations.sh QORSERVER
set -euo pipefail
qorserver=$1
# shellcheck source=tests/support/own_server.sh
. "${0%/*}/../support/own_server.sh"
log=$work/log

# ends EXIT STDOUT STDERR_PATTERN ARGUMENTS...: runs the program to its end; the pattern "-" stands for
# no output at all.
ends() {
  local wanted=$1 out=$2 pattern=$3 got=0
  shift 3
  timeout 60 "$qorserver" "$@" >"$work/out" 2>"$work/err" </dev/null || got=$?
  [ "$got" -eq "$wanted" ] || fail "qorserver $*: exit $got instead of $wanted"
  [ "$(cat "$work/out")" = "$out" ] || fail "qorserver $*: said $(cat "$work/out")"
  if [ "$pattern" = - ]; then
    [ ! -s "$work/err" ] || fail "qorserver $*: said $(cat "$work/err")"
    return
  fi
  tr '\n' ' ' <"$work/err" | grep -Eq -e "$pattern" || fail "no $pattern in $(cat "$work/err")"
}

stop() {
  kill "$server"
  wait "$server" || fail "the server ended with $?"
  server=
}

# frame HEADER...: the bytes of a request without a body, in printf's notation.
frame() {
  local header
  printf -v header '%s\\n' 'Content-Length  : ' "$@"
  header+='\r\n'
  local length
  length=$(printf "$header" | wc -c)
  printf '\\x%02x\\x%02x%s' $((length / 256)) $((length % 256)) "$header"
}

# ask HEADER...: sends a request and answers the status, or "closed".
ask() {
  exec 3<>"/dev/tcp/127.0.0.1/$port"
  printf "$(frame "$@")" >&3
  timeout 30 head -c 2 <&3 | od -An -tu1 | awk '{print $1 * 256 + $2}'
  exec 3>&-
}

# awaits PATTERN: until the log has a line of that pattern.
awaits() {
  for _ in {1..300}; do
    grep -Eq -e "$1" "$log" && return
    sleep 0.1
  done
  fail "the log never said $1: $(cat "$log")"
}

umask 077
# Arguments and settings that are wrong, and what they end the program with.
ends 2 '' 'not expected: --bogus' --bogus
ends 2 '' '--token-file.*must have 1 to 4096 bytes' --data "$work/data" --token-file ''
ends 2 '' '--idle-timeout.*not in range' --data "$work/data" --idle-timeout -1
ends 1 '' 'there is no data directory' --listen 127.0.0.1:0
printf 'data = "%s/data"\nlisten = "127.0.0.1:0"\n[log]\nlevel = "loud"\ncolour = 1\n' "$work" \
  >"$work/bad.toml"
both="$work/bad.toml:4:9: log.level must.* $work/bad.toml:5:1: there is no setting \"log.colour\""
ends 1 '' "$both" --config "$work/bad.toml" --check-config
ends 1 '' "$both" --config "$work/bad.toml"
printf 'data = "%s/data\n' "$work" >"$work/bad.toml"
ends 1 '' "^$work/bad.toml:1:[0-9]+: Error while parsing [^/]*$" --config "$work/bad.toml"
ends 1 '' '--listen: "nowhere" is not of the form' --data "$work/data" --listen nowhere
ends 2 '' '--data.*must have 1 to 4096 bytes' --data '' --check-config
ends 0 ok - --data "$work/data" --check-config
[ ! -e "$work/data" ] || fail "checking the settings made the data directory"

# A server by its file, in which an option wins; tokens and the level are read again.
"$qorserver" token --access monitor >"$work/tokens" 2>"$work/token"
first=$(sed 's/token: //' "$work/token")
printf 'data = "%s/data"\nlisten = "127.0.0.1:1"\ntoken_file = "%s/tokens"\n' "$work" "$work" \
  >"$work/server.toml"
serve "$log" "$qorserver" --config "$work/server.toml" --listen 127.0.0.1:0 --metrics-listen 127.0.0.1:0
awaits '^time=[0-9]{4}-[0-9-]+T[0-9:.]+Z level=info event=starting version="qorserver '
awaits "level=info event=listening address=127.0.0.1:$port( |$)"
ends 1 '' "Listening on 127.0.0.1:$port failed: Address already in use; listen on another" \
  --data "$work/other" --listen "127.0.0.1:$port"
[ "$(ask 'action: getStatus' "Authorization: $first")" = 1 ] || fail "the token was not taken"
exec 3<>"/dev/tcp/127.0.0.1/$(sed -n 's/.*event=listening .* metrics=127.0.0.1://p' "$log")"
printf 'GET /metrics HTTP/1.1\r\n\r\n' >&3
timeout 30 grep -q '^qorserver_requests_total{kind="getStatus",result="ok"} 1$' <&3 || fail "no metrics"
exec 3>&-
[ "$(ask 'action: getStatus' 'Authorization: wr0ng')" = 401 ] || fail "a wrong token was taken"
awaits 'level=warning event=request_refused kind=getStatus .* peer=127.0.0.1:[0-9]+ '
grep -q event=request\  "$log" && fail "requests are logged at level info"

"$qorserver" token >>"$work/tokens" 2>"$work/token"
second=$(sed 's/token: //' "$work/token")
printf '[log]\nlevel = "debug"\n' >>"$work/server.toml"
kill -HUP "$server"
awaits 'event=reloaded tokens=2 tokens_changed=yes log_level=debug log_level_before=info'
[ "$(ask 'action: getStatus' "Authorization: $second")" = 1 ] || fail "the new token was not taken"
awaits 'level=debug event=request kind=getStatus collection="" status=1 microseconds=[0-9]+ '

printf 'level = 3\n' >>"$work/server.toml"
kill -HUP "$server"
awaits "level=error event=reload_refused text=\"?$work/server.toml:6:"
sed -i 6d "$work/server.toml"
printf 'tokens of no form\n' >"$work/tokens"
kill -HUP "$server"
awaits 'level=error event=reload_refused text=.*is not of the form'
[ "$(ask 'action: getStatus' "Authorization: $second")" = 1 ] || fail "a faulty file took a token away"

# Bytes of a request neither end a line of the log nor reach the terminal.
evil='action: getStatus\x1b[2J\rlevel=error event=failed\xff" id="x'
[ "$(ask "$evil" "Authorization: $second")" = 6 ] || fail "a strange action was not refused"
awaits 'text="The action .*x1b\[2J.rlevel=error event=failed.xff'
[ "$(ask 'action: collectionStatus' 'index: a" b=' "Authorization: $second")" = 6 ] ||
  fail "a strange collection was not refused"
LC_ALL=C grep -q '[^ -~]' "$log" && fail "the log has bytes that do not belong on a terminal"
LC_ALL=C grep -Evq '^time=[^ ]+ level=(error|warning|info|debug) event=[a-z_]+( [a-z_]+=([^" ]+|"([^"\\]|\\.)*"))*( \.\.\.)?$' \
  "$log" && fail "lines of another form: $(cat "$log")"

# A flood of refusals is cut, and every one of them counted.
awaits 'event=request_refused .*ACTION_UNKNOWN'
sleep 2.2
before=$(grep -c event=request_refused "$log")
for _ in {1..500}; do frame 'action: flood' "Authorization: $second"; done >"$work/flood"
exec 3<>"/dev/tcp/127.0.0.1/$port"
printf "$(cat "$work/flood")" >&3 &
text='The action "flood" is not known to this server'
reply=$((2 + 2 + 2 + 5 + 2 + 18 + 2 + 7 + 2 + ${#text}))  # status, length, MsgId, MsgText
timeout 60 head -c $((500 * reply)) <&3 >"$work/replies" || fail "a flood was not answered"
[ "$(grep -ao "$text" "$work/replies" | wc -l)" -eq 500 ] || fail "a flood was answered otherwise"
exec 3>&-
wait $!
sleep 2.2
lines=$(($(grep -c event=request_refused "$log") - before))
told=$(sed -n 's/.*event=lines_left_out of=request_refused lines=//p' "$log" | awk '{n += $1} END {print n + 0}')
[ "$((lines + told))" -eq 500 ] || fail "$lines lines and $told left out are not 500"
[ "$told" -gt 300 ] || fail "only $told lines were left out"
stop
awaits 'level=info event=ending text=SIGTERM'
awaits 'level=info event=ended$'
grep -qe "$first" -e "$second" -e wr0ng "$log" && fail "the log tells a token"

# To the journal: priorities, no time.
log=$work/journal
: >"$log"
JOURNAL_STREAM=$(stat -c %d:%i "$log") serve "$log" "$qorserver" --data "$work/data" --listen 127.0.0.1:0
[ "$(ask 'action: nonsense')" = 6 ] || fail "an unknown action was not refused"
stop
awaits '^<6>level=info event=listening '
awaits '^<6>level=info event=request_refused '

report "settings, log and reloading are as they should be"
