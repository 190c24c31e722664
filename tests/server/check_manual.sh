#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The manual page has every option that the help has and every setting that the commented example of the
# settings has, and `man`, where it is installed, formats it without a warning.
# Usage: check_manual.sh QORSERVER EXAMPLE_OF_SETTINGS
set -euo pipefail
qorserver=$1 example=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

"$qorserver" man >"$work/page"
tr -d '\\' <"$work/page" >"$work/plain"

{ "$qorserver" --help; "$qorserver" token --help; } | grep -oE -e '--[a-z-]+' | sort -u >"$work/options"
while IFS= read -r option; do
  grep -qE "^fB(-h,)?${option}fR( |$)" "$work/plain" || fail "the page lacks the option $option"
done <"$work/options"

# Names stand behind "[table]" lines; those of a filter by themselves.
awk '/^#?\[/ { gsub(/[^a-z]/, ""); table = $0 == "filter" ? "" : $0 "."; next }
     match($0, /^#?[a-z_]+ = /) { name = substr($0, 1, RLENGTH - 3); sub(/^#/, "", name); print table name }' \
  "$example" >"$work/settings"
while IFS= read -r setting; do
  grep -qxF "fB${setting}fR" "$work/plain" || fail "the page lacks the setting $setting"
done <"$work/settings"
for list in options settings; do
  [ "$(wc -l <"$work/$list")" -ge 14 ] || fail "only these $list were found: $(cat "$work/$list")"
done

if command -v man >"$work/none"; then
  warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$work/page" 2>&1 >"$work/formatted")
  [ -z "$warnings" ] || fail "man says: $warnings"
fi

[ "$failures" -eq 0 ] || exit 1
echo "$(cat "$work/options" "$work/settings" | wc -l) options and settings are in the page"
