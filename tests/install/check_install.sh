#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs a build tree into an empty folder and uses it as a stranger would: by find_package, by
# pkg-config, where it was installed and where it was moved to; compiles every public header alone.
# usage: check_install.sh CMAKE CXX BUILD_TREE WORK_FOLDER [SANITIZERS]
set -euo pipefail

cmake=$1 cxx=$2 build=$3 work=$4 sanitize=${5:-}
user=$(cd "$(dirname "$0")" && pwd)/user
flags=()
# Libraries that are built with sanitizers want a program that is, too.
[[ -z $sanitize ]] || flags=("-fsanitize=$sanitize")

fail() {
  echo "check_install: $*" >&2
  exit 1
}

rm -rf "$work"
mkdir -p "$work"
"$cmake" --install "$build" --prefix "$work/installed" > "$work/install.log"

# use_tree TREE NAME: builds and runs the user's program against TREE in both ways.
use_tree() {
  local tree=$1 out=$work/$2 pc lib
  "$cmake" -S "$user" -B "$out" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$tree" \
    -DCMAKE_CXX_FLAGS="${flags[*]}" > "$work/$2.log"
  "$cmake" --build "$out" >> "$work/$2.log" || fail "find_package: see $work/$2.log"
  "$out/user" || fail "the program found by find_package in $2 failed"

  pc=$(find "$tree" -name qorcomm.pc)
  [[ -n $pc ]] || fail "no qorcomm.pc"
  export PKG_CONFIG_PATH=${pc%/*}
  lib=$(pkg-config --variable=libdir qorcomm)
  # shellcheck disable=SC2046  # the flags are words
  "$cxx" "${flags[@]}" -o "$out/by-pkg-config" "$user/user.cc" $(pkg-config --cflags --libs qorcomm)
  LD_LIBRARY_PATH=$lib "$out/by-pkg-config" || fail "the program found by pkg-config in $2 failed"
  # Installed files have no run path: whoever keeps them where the loader does not look says so.
  [[ ! -x $tree/bin/qorctl ]] || LD_LIBRARY_PATH=$lib "$tree/bin/qorctl" --help > "$work/$2.help" ||
    fail "qorctl in $2 failed"
}

use_tree "$work/installed" first
[[ ! -x $work/installed/bin/qorserver || -s $work/installed/share/man/man8/qorserver.8 ]] ||
  fail "share/man/man8/qorserver.8 is not installed"
if [[ -x $work/installed/bin/qorctl ]]; then
  for file in man/man1/qorctl.1 bash-completion/completions/qorctl zsh/site-functions/_qorctl \
    fish/vendor_completions.d/qorctl.fish; do
    [[ -s $work/installed/share/$file ]] || fail "share/$file is not installed"
  done
fi
grep -rqF "$build" "$work/installed" --include='*.cmake' --include='*.pc' --include='*.h' &&
  fail "an installed file names the build tree"
mv "$work/installed" "$work/moved"
use_tree "$work/moved" second

# A host's own macros, with everyday names.
macros=(-DDEBUG=1 -DERROR=1 -DINFO=1 -DNONE=0 -DTRACE=1 -DWARNING=1)
headers=0
while IFS= read -r header; do
  [[ $header != */internal/* ]] || fail "an internal header is installed: $header"
  # shellcheck disable=SC2046
  "$cxx" -Wall -Wextra -Werror "${macros[@]}" -fsyntax-only -x c++ $(pkg-config --cflags qorcomm) - \
    <<< "#include \"$header\"" || fail "does not compile alone: $header"
  [[ $header == qorcomm.h || $header == */qorExport.h ]] ||
    grep -q "\"$header\"" "$work/moved/include/qorcomm/qorcomm.h" ||
    fail "qorcomm.h does not bring in $header"
  headers=$((headers + 1))
done < <(cd "$work/moved/include/qorcomm" && find . -name '*.h' | sed 's|^\./||' | sort)
((headers >= 20)) || fail "only $headers headers are installed"

lib=$(pkg-config --variable=libdir qorcomm)
for name in qorinfra qorcomm; do
  readelf -d "$lib/lib$name.so" > "$work/$name.dynamic"
  grep -q "SONAME.*\[lib$name\.so\.1\]" "$work/$name.dynamic" || fail "soname of $name"
  foreign=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$work/$name.dynamic" |
    grep -Ev '^(libqorinfra|libicu[a-z]+|libstdc\+\+|libm|libgcc_s|libc|ld-linux.*|lib[a-z]+san)\.so') || true
  [[ -z $foreign ]] || fail "$name needs $foreign"
done
for name in qorinfra qorcomm; do
  nm -DC --defined-only "$lib/lib$name.so" | cut -d' ' -f2- > "$work/$name.symbols"
  foreign=$(grep -vE '^. ((vtable|typeinfo|typeinfo name) for |non-virtual thunk to )?orvix::' \
    "$work/$name.symbols" | grep -vE ' (QORCOMM_1|qorcomm_component_marker@@QORCOMM_1)$') || true
  [[ -z $foreign ]] || fail "$name exports $foreign"
done
grep -q ' qorcomm_component_marker@@QORCOMM_1$' "$work/qorcomm.symbols" || fail "the marker is not exported"
! grep -E '^. orvix::comm::(detail::|RESTMessage|RESTResponse|TamberPerfResponse)' \
  "$work/qorcomm.symbols" || fail "internal symbols are exported"
echo "$headers public headers compile alone"
