#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Uses the Debian packages as a stranger would: unpacks them into an empty root, builds a user's program
# against them by CMake and by pkg-config, with GCC and with Clang, runs it and the programs, and reads
# what the packages say of themselves. Of a build tree, it makes the packages first, twice.
# usage: check_packages.sh CMAKE FOLDER_OF_PACKAGES|RELEASE_BUILD_TREE WORK_FOLDER
set -euo pipefail

cmake=$1 packages=$2 work=$3
here=$(cd "$(dirname "$0")" && pwd)
root=$work/root
names=(libqorcomm1 libqorcomm-dev qorctl qorserver)

fail() {
  echo "check_packages: $*" >&2
  exit 1
}

rm -rf "$work"
mkdir -p "$root" "$work/control"

if [[ -f $packages/CPackConfig.cmake ]]; then
  build=$packages packages=$work/first
  for output in first second; do
    (cd "$build" && SOURCE_DATE_EPOCH=1700000000 "${cmake%cmake}cpack" -B "$work/$output") \
      > "$work/$output.log" 2>&1 || { cat "$work/$output.log" >&2; exit 1; }
    rm -r "$work/$output/_CPack_Packages"
  done
  diff -r "$work/first" "$work/second" || fail "packages of one build differ"
fi

for name in "${names[@]}"; do
  set -- "$packages/${name}"_*.deb
  [[ $# == 1 && -f $1 ]] || fail "not one package $name in $packages"
  dpkg-deb -x "$1" "$root"
  dpkg-deb -e "$1" "$work/control/$name"
  [[ -s $root/usr/share/doc/$name/copyright && -s $root/usr/share/doc/$name/changelog.gz ]] ||
    fail "$name says nothing of its terms or its changes"
done
lib=$(find "$root/usr/lib" -name libqorcomm.so -printf '%h')

# The pages are there, and their links lead to what the package holds.
for page in libqorcomm-dev/README qorctl/qorctl qorserver/server; do
  [[ -s $root/usr/share/doc/$page.md ]] || fail "the page $page.md is not in its package"
done
while IFS=: read -r page link; do
  [[ $link == *://* || -e ${page%/*}/${link%%#*} ]] || fail "$page links to $link, which is in no package"
done < <(find "$root/usr/share/doc" -name '*.md' -exec grep -oHE '\]\([^)#][^)]*' {} + | sed 's/](//')
cmp -s "$root/usr/share/doc/qorserver/examples/qorserver.toml" "$root/etc/qorserver/qorserver.toml" ||
  fail "the example of the settings is not the one that is installed"
for page in man1/qorctl.1 man8/qorserver.8; do
  [[ -s $root/usr/share/man/$page ]] || fail "the manual page $page is not in its package"
done

# field PACKAGE NAME
field() { sed -n "s/^$2: //p" "$work/control/$1/control"; }

icu=$(sed -n 's/^Depends:.*libicu\([0-9]*\).*/\1/p' "$work/control/libqorcomm1/control")
[[ -n $icu ]] || fail "libqorcomm1 does not depend on ICU"
[[ $(field libqorcomm1 Provides) == "libqorcomm1-icu$icu ("* ]] ||
  fail "libqorcomm1 does not provide the name with ICU's major version"
for name in libqorcomm1 libqorcomm-dev; do
  grep -qF "ICU's major version ($icu) is part of" "$work/control/$name/control" ||
    fail "$name does not say that ICU's major version is part of its ABI"
done
for name in libqorcomm1 qorctl qorserver; do
  [[ $(field "$name" Depends) == *"libc6 (>= "* ]] || fail "$name: no dependencies from dpkg-shlibdeps"
done
[[ $(field libqorcomm-dev Depends) == "libqorcomm1 (= $(field libqorcomm1 Version))"* ]] ||
  fail "libqorcomm-dev does not depend on the library of the same version"
grep -q 'GPL, version 3' "$root/usr/share/doc/qorserver/copyright" ||
  fail "qorserver does not say what linking its engine means"
# All that they depend on is in the distribution, or among them. Nothing is installed.
apt-get --simulate install "$packages"/*.deb > "$work/apt.log" 2>&1 || { cat "$work/apt.log" >&2; fail "apt"; }

[[ -s $root/usr/share/zsh/vendor-completions/_qorctl ]] || fail "zsh of Debian does not find its completion"

# The server as a service: its maintainer scripts, run on the root that the packages were unpacked into,
# make the user and have the unit started with the machine; a purge takes that back and leaves the user.
scripts=$work/control/qorserver
exec_start=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$root/usr/lib/systemd/system/qorserver.service")
[[ -x $root$exec_start ]] || fail "the unit starts $exec_start, which is not in the package"
while read -r file; do
  [[ -s $root$file ]] || fail "the conffile $file is not in the package"
  grep -qF "$file" "$root/usr/lib/systemd/system/qorserver.service" || fail "the unit does not read $file"
done < "$scripts/conffiles"
if command -v systemd-sysusers > "$work/none" && command -v deb-systemd-helper > "$work/none" &&
  [[ $(id -u) == 0 ]]; then
  wanted=$root/etc/systemd/system/multi-user.target.wants/qorserver.service
  export DPKG_MAINTSCRIPT_PACKAGE=qorserver DPKG_ROOT=$root  # as dpkg --root sets them
  sh "$scripts/postinst" configure '' || fail "qorserver's postinst"
  grep -q '^qorserver:' "$root/etc/passwd" || fail "the user was not made"
  [[ -L $wanted ]] || fail "the unit is not started with the machine"
  sh "$scripts/postinst" configure 0.9 || fail "qorserver's postinst on an upgrade"
  for call in "prerm remove" "postrm remove" "postrm purge"; do
    sh "$scripts/${call% *}" "${call#* }" || fail "qorserver: $call"
  done
  [[ ! -L $wanted ]] || fail "a purge leaves the unit started with the machine"
  unset DPKG_ROOT
else
  echo "check_packages: maintainer scripts need systemd's tools and root: not run" >&2
fi

export LD_LIBRARY_PATH=$lib
for name in qorctl qorserver; do
  version=$("$root/usr/bin/$name" --version) || fail "$name --version"
  [[ $version == "$name $(field "$name" Version), "* ]] || fail "$name says it is $version"
  echo "$version"
done

# use CXX: builds and runs the user's program in both ways.
use() {
  local out=$work/$1
  if ! "$cmake" -S "$here/user" -B "$out" -DCMAKE_CXX_COMPILER="$1" -DCMAKE_PREFIX_PATH="$root/usr" \
    > "$out.log" || ! "$cmake" --build "$out" >> "$out.log"; then
    fail "find_package with $1: see $out.log"
  fi
  "$out/user" || fail "the program built by $1 and CMake failed"
  # shellcheck disable=SC2046  # the flags are words
  "$1" -o "$out/by-pkg-config" "$here/user/user.cc" $(pkg-config --cflags --libs qorcomm)
  "$out/by-pkg-config" || fail "the program built by $1 and pkg-config failed"
}

export PKG_CONFIG_PATH=$lib/pkgconfig PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_ALLOW_SYSTEM_LIBS=1
used=()
for cxx in g++ clang++; do
  if command -v "$cxx" > "$work/none"; then
    use "$cxx"
    used+=("$cxx")
  else
    echo "check_packages: $cxx is not installed: skipped" >&2
  fi
done
((${#used[@]} > 0)) || fail "neither g++ nor clang++ is installed"
LD_LIBRARY_PATH='' ldd "$work/${used[0]}/by-pkg-config" | grep -q 'libqorcomm.so.1 => not found' ||
  fail "the program was not linked with the packages' library"

# What dpkg makes of the library's shlibs file for that program is what qorctl depends on.
mkdir -p "$work/dpkg/debian"
: > "$work/dpkg/debian/control"
cp "$work/control/libqorcomm1/shlibs" "$work/dpkg/debian/shlibs.local"
depends=$(cd "$work/dpkg" && dpkg-shlibdeps -l"$lib" -O "$work/${used[0]}/user" 2> "$work/shlibdeps.log") ||
  { cat "$work/shlibdeps.log" >&2; fail "dpkg-shlibdeps"; }
wanted="libqorcomm1-icu$icu (>= $(field libqorcomm1 Version))"
[[ $depends == *"$wanted"* ]] || fail "dpkg-shlibdeps says $depends, not $wanted"
[[ $(field qorctl Depends) == *"$wanted"* ]] || fail "qorctl does not depend on $wanted"
echo "${#names[@]} packages used with ${used[*]}"
