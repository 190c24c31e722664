#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Reads the files that make the server a service: the unit is right and closed as far as it should be,
# and lets through every system call that the server makes in a whole life, from start to end.
# usage: check_service.sh FOLDER_OF_THE_FILES QORSERVER QORCTL   (77: the tools are missing)
set -euo pipefail

files=$1 qorserver=$2 qorctl=$3
most=1.2  # of systemd's figure for what the unit leaves open
work=$(mktemp -d)
traced=

finish() {
  [[ -z $traced ]] || kill "$traced" 2> "$work/gone" || true
  rm -rf "$work"
}
trap finish EXIT

fail() {
  echo "check_service: $*" >&2
  exit 1
}

for tool in systemd-analyze systemd-sysusers strace; do
  command -v "$tool" > "$work/which" || { echo "check_service: $tool is not installed: skipped" >&2; exit 77; }
done

systemd-analyze security --offline=true --no-pager "$files/qorserver.service" > "$work/security"
figure=$(sed -n 's/.*Overall exposure level for qorserver.service: \([0-9.]*\).*/\1/p' "$work/security")
[[ -n $figure ]] || fail "systemd-analyze security gives no figure: $(tail -3 "$work/security")"
awk -v figure="$figure" -v most="$most" 'BEGIN { exit !(figure <= most) }' ||
  fail "the unit's exposure is $figure, more than $most: $(grep '✗' "$work/security")"

# The program is not where the package puts it.
sed "s|/usr/bin/qorserver|$qorserver|" "$files/qorserver.service" > "$work/qorserver.service"
systemd-analyze verify --man=no "$work/qorserver.service" > "$work/verify" 2>&1 || fail "$(cat "$work/verify")"
! grep -F "$work/qorserver.service" "$work/verify" || fail "the unit has lines that systemd ignores"

systemd-sysusers --dry-run "$files/qorserver.sysusers" > "$work/sysusers" 2>&1 || fail "$(cat "$work/sysusers")"
user=$(sed -n 's/^User=//p' "$files/qorserver.service")
grep -Eq "user '?$user'?|^u $user " "$work/sysusers" "$files/qorserver.sysusers" ||
  fail "the user $user is not made"

# members NAME...: calls, and those of sets, with the sets within sets.
members() {
  local name inner
  for name in "$@"; do
    if [[ $name == @* ]]; then
      mapfile -t inner < <(systemd-analyze syscall-filter --no-pager "$name" | sed -n 's/^ \+\([@a-z]\)/\1/p')
      members "${inner[@]}"
    else
      echo "$name"
    fi
  done
}
mapfile -t filters < <(sed -n 's/^SystemCallFilter=//p' "$files/qorserver.service")
: > "$work/allowed"
for filter in "${filters[@]}"; do
  # shellcheck disable=SC2086  # the sets are words
  if [[ $filter == '~'* ]]; then
    members ${filter#'~'} | sort -u > "$work/taken"
    comm -23 "$work/allowed" "$work/taken" > "$work/left"
    mv "$work/left" "$work/allowed"
  else
    members $filter | sort -u - "$work/allowed" > "$work/more"
    mv "$work/more" "$work/allowed"
  fi
done
[[ $(wc -l < "$work/allowed") -gt 150 ]] || fail "only $(wc -l < "$work/allowed") system calls are allowed"

# A whole life. The leak check of a build with sanitizers traces, too, and only one may.
mkfifo "$work/said"
printf 'a river\n' > "$work/one.txt"
ASAN_OPTIONS=detect_leaks=0 NOTIFY_SOCKET="$work/nobody" WATCHDOG_USEC=500000 \
  strace -f -qq -e signal=none -o "$work/calls" \
  "$qorserver" --data "$work/data" --listen 127.0.0.1:0 --metrics-listen 127.0.0.1:0 \
  > "$work/said" 2> "$work/log" &
traced=$!
read -r -t 60 line < "$work/said" || fail "the server did not start: $(cat "$work/log")"
ask() { "$qorctl" --port "${line##*:}" "$@" > "$work/out" 2>&1 || fail "qorctl $*: $(cat "$work/out")"; }
ask collection create c
ask doc add c one "$work/one.txt"
ask load c "$work"/one.txt
ask search c river
ask collection list-status c
ask backup c b
ask collection drop c
ask restore c b
pkill -HUP -P "$traced"
ask ping
ask shutdown
wait "$traced" || fail "the server failed: $(cat "$work/log")"
traced=
sed -n 's/^[0-9]* *\([a-z0-9_]*\)(.*/\1/p' "$work/calls" | sort -u > "$work/made"
[[ $(wc -l < "$work/made") -gt 40 ]] || fail "only $(wc -l < "$work/made") different system calls were seen"
refused=$(comm -13 "$work/allowed" "$work/made")
[[ -z $refused ]] || fail "the unit's filter refuses what the server calls: ${refused//$'\n'/ }"
echo "exposure $figure of at most $most; $(wc -l < "$work/made") system calls, all allowed"
