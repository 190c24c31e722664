#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the ABI of the built libraries (layouts of the public classes, virtual tables, signatures,
# values of enumerators) with the one on record in abi/, and says what changed. The libraries must have
# been built as the preset package does, with debug information. With --update it writes the record.
# The ABI contains ICU's: with another major version than the record's there is nothing to compare, and
# the exit status is 77.
# usage: check_abi.sh INSTALL_TREE WORK_FOLDER [--update]
set -euo pipefail

tree=$1 work=$2 update=${3:-}
record=$(cd "$(dirname "$0")" && pwd)/abi
rm -rf "$work"
mkdir -p "$work"
faults=0

fail() {
  echo "check_abi: $*" >&2
  exit 1
}

for name in qorinfra qorcomm; do
  library=$(find "$tree" -name "lib$name.so")
  [[ -n $library ]] || fail "no lib$name.so in $tree"
  readelf -SW "$library" | grep -q '\.debug_info' || fail "$library has no debug information"
  abidw --headers-dir "$tree/include/qorcomm" --drop-private-types --exported-interfaces-only \
    --drop-undefined-syms --no-show-locs --no-corpus-path --no-comp-dir-path --no-parameter-names \
    --out-file "$work/$name.abi" "$library"
  # A dump without types compares equal to much.
  grep -q "<class-decl name='\(Message\|TamberPerfClient\)' size-in-bits" "$work/$name.abi" ||
    fail "abidw found no classes in $library"
  if [[ -n $update ]]; then
    xz -9e --stdout "$work/$name.abi" > "$record/$name.abi.xz"
    continue
  fi
  xz --decompress --stdout "$record/$name.abi.xz" > "$work/$name.recorded.abi"
  icu=()
  for dump in "$work/$name.recorded.abi" "$work/$name.abi"; do
    icu+=("$(grep -o 'libicuuc\.so\.[0-9]*' "$dump" | head -n 1)")
  done
  if [[ ${icu[0]} != "${icu[1]}" ]]; then
    echo "check_abi: the record is of ${icu[0]}, the libraries are of ${icu[1]}: not compared" >&2
    exit 77
  fi
  compare=(abidiff "$work/$name.recorded.abi" "$work/$name.abi")
  status=0
  "${compare[@]}" > "$work/$name.full" || status=$?
  ((status & 3)) && fail "abidiff: $(cat "$work/$name.full")"
  ((status == 0)) && continue
  faults=$((faults + 1))
  kind="changed: programs that were built before may break. If they do, raise the soname or take it back"
  "${compare[@]}" --no-added-syms > "$work/$name.changed" && kind="grew: say so in CHANGELOG.md"
  # By type where that says it all; the order of virtual functions is reported by function only.
  "${compare[@]}" --leaf-changes-only > "$work/$name.report" || true
  ! grep -q 'summary: 0 artifact changed' "$work/$name.report" || cp "$work/$name.full" "$work/$name.report"
  echo "check_abi: the ABI of lib$name $kind" >&2
  cat "$work/$name.report" >&2
done

if ((faults > 0)); then
  echo "check_abi: when that is meant, $0 $tree WORK_FOLDER --update writes it down" >&2
  exit 1
fi
[[ -n $update ]] && echo "written down" || echo "the ABI of both libraries is the one on record"
