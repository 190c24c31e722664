#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The manual page has every option that the help has and every setting that the commented example of the
# settings has, and `man`, where it is installed, formats it without a warning.
# Usage: check_manual.sh QORSERVER EXAMPLE_OF_SETTINGS
set -euo pipefail
qorserver=$1 example=$2
# shellcheck source=tests/support/checks.sh
. "${0%/*}/../support/checks.sh"

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
  format_page "$work/page"
fi

report "$(cat "$work/options" "$work/settings" | wc -l) options and settings are in the page"
