#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares what the built libraries export with the reviewed list. Give it a release build: sanitizers
# and lack of optimization add symbols. With --update it writes the list: review it.
# usage: check_exports.sh LIBRARY_FOLDER [--update]
set -euo pipefail

folder=$1
list=$(dirname "$0")/exported_symbols.txt

# Name by name, without the version node, which is a symbol itself, and ICU's major version.
exported() {
  for name in qorcomm qorinfra; do
    nm -DC --defined-only "$folder/lib$name.so" | cut -d' ' -f2- |
      sed -E -e '/^A QORCOMM_[0-9]+$/d' -e 's/@@QORCOMM_[0-9]+$//' \
        -e "s/^(.) /$name \1 /" -e 's/icu_[0-9]+::/icu::/g'
  done | LC_ALL=C sort -u
}

if [[ ${2:-} == --update ]]; then
  exported > "$list"
elif ! diff <(exported) "$list" > /dev/null; then
  echo "check_exports: exported (<) differs from what $list says (>):" >&2
  diff <(exported) "$list" >&2 || true
  exit 1
fi
echo "$(wc -l < "$list") exported symbols, as listed"
