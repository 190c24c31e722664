#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares what the built libraries export with the reviewed list. Counted are all symbols but weak
# ones of the C++ library's templates, which every user of a template has. Give it a release build:
# sanitizers and lack of optimization add symbols. With --update it writes the list: review it.
# usage: check_exports.sh LIBRARY_FOLDER [--update]
set -euo pipefail

folder=$1
list=$(dirname "$0")/exported_symbols.txt

exported() {
  for name in qorcomm qorinfra; do
    nm -DC --defined-only "$folder/lib$name.so" | cut -d' ' -f2- |
      sed -E -e '/^[WVu] /{/^. (vtable for |typeinfo for |typeinfo name for |non-virtual thunk to )?orvix::/!d}' \
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
