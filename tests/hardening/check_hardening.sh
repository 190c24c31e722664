#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Reads from built files whether the protections of a release took effect, and whether the libraries
# export what the reviewed list says. Builds and installs what the packages hold, as they are built, with
# bench/qor-budget and the programs of bench/server, which are not installed, and a small program.
# usage: check_hardening.sh CMAKE SOURCE_TREE WORK_FOLDER
set -euo pipefail

cmake=$1 source=$2 work=$3
faults=0
checked=0

complain() {
  echo "check_hardening: $1: $2" >&2
  faults=$((faults + 1))
}

# check FILE: what readelf and the disassembly say of one library or program.
check() {
  local file=$1 name=${1##*/} headers dynamic symbols
  headers=$(readelf -hlW "$file") dynamic=$(readelf -dW "$file") symbols=$(nm -D "$file")
  checked=$((checked + 1))
  [[ $headers == *GNU_RELRO* ]] || complain "$name" "no read-only relocations"
  [[ $dynamic == *BIND_NOW* || $dynamic == *"Flags: NOW"* ]] || complain "$name" "no immediate binding"
  [[ $dynamic != *TEXTREL* ]] || complain "$name" "text relocations"
  ! grep -qE '\((RPATH|RUNPATH)\)' <<< "$dynamic" || complain "$name" "a run path"
  grep -qE 'GNU_STACK .* RW +0x' <<< "$headers" || complain "$name" "an executable stack"
  ! grep -qE 'LOAD .* RWE' <<< "$headers" || complain "$name" "memory to write and to execute"
  grep -qE 'Type: +DYN' <<< "$headers" || complain "$name" "not position-independent"
  [[ $name == *.so* || $dynamic == *PIE* ]] || complain "$name" "no position-independent program"
  [[ $symbols == *__stack_chk_fail* ]] || complain "$name" "no stack protector"
  if [[ $(uname -m) == x86_64 ]]; then
    # The C library's start files carry no property note, so the linker drops it: look at the code.
    objdump -d --no-show-raw-insn "$file" > "$work/$name.code"
    awk 'FILENAME ~ /code$/ { if ($2 == "endbr64") { sub(":", "", $1); marked[$1] = 1; n++ } next }
         $2 == "T" { sub("^0*", "", $1); if (!($1 in marked)) { print $3; bad = 1 } }
         END { exit bad || n == 0 }' "$work/$name.code" - <<< "$symbols" > "$work/$name.unmarked" ||
      complain "$name" "no control-flow protection: $(head -3 "$work/$name.unmarked")"
  fi
}

rm -rf "$work/tree"
mkdir -p "$work"
(cd "$source" && "$cmake" --preset package -B "$work/build" -DQORCOMM_BUILD_BUDGET=ON) > "$work/log"
harden=$(sed -n 's/^QORCOMM_HARDEN:BOOL=//p' "$work/build/CMakeCache.txt")
"$cmake" -S "$source/tests/hardening/probe" -B "$work/probe" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  "-DQORCOMM_HARDEN=$harden" >> "$work/log"
for folder in build probe; do
  "$cmake" --build "$work/$folder" --parallel 2 >> "$work/log" || { tail -20 "$work/log" >&2; exit 1; }
done
"$cmake" --install "$work/build" --prefix "$work/tree" >> "$work/log"

cp "$work/probe/probe" "$work/tree/"
while IFS= read -r -d '' file; do
  if [[ $(head -c 4 "$file") == $'\x7fELF' ]]; then check "$file"; fi
done < <(find "$work/tree" -type f \( -name '*.so*' -o -executable \) -print0)
((checked >= 5)) || complain "$work" "only $checked files were found"

# What the last two leave behind can be seen only where the code gives a reason for it.
[[ $(nm -D "$work/tree/probe") == *__memcpy_chk* ]] || complain probe "FORTIFY is not at level 3"
if [[ $(uname -m) == x86_64 ]]; then
  grep -q 'orq *\$0x0,(%rsp)' "$work/probe.code" || complain probe "no protection from stack clashes"
fi

libraries=$(find "$work/tree" -name libqorcomm.so -printf '%h')
"$source/tests/torture/check_exports.sh" "$libraries" || faults=$((faults + 1))
((faults == 0)) || exit 1
echo "$checked files are hardened"
