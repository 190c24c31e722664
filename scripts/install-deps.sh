#!/usr/bin/env bash
# Installs the Debian packages that building and testing need; does nothing when they are there.
# Usage: scripts/install-deps.sh [GROUP...]   ("test" adds what only the tests need, "fuzz" what fuzzing
# and the coverage report need, "bench" what the library is measured against, "docs" what makes the site
# of documents, "package" what makes Debian packages, "lint" what reads the sources)
set -euo pipefail
. "$(dirname "$0")/help.sh"

packages=(g++ cmake ninja-build pkg-config libicu-dev libxapian-dev libasio-dev libcli11-dev
          libsodium-dev libspdlog-dev libsystemd-dev libtomlplusplus-dev libxml2-dev
          nlohmann-json3-dev prometheus-cpp-dev)
for group in "$@"; do
  case $group in
    test) packages+=(libgtest-dev libgmock-dev locales strace valgrind doxygen abigail-tools clang
                     dpkg-dev file xz-utils systemd) ;;
    fuzz) packages+=(clang llvm libclang-rt-14-dev) ;;
    bench) packages+=(libbenchmark-dev libhiredis-dev redis-server libcurl4-openssl-dev
                      libsimdjson-dev valgrind) ;;
    docs) packages+=(doxygen) ;;
    package) packages+=(dpkg-dev file) ;;
    lint) packages+=(clang-format clang-tidy shellcheck) ;;
    *) echo "no group of packages is called $group" >&2; exit 2 ;;
  esac
done

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

echo "installing: ${missing[*]}" >&2
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
"${as_root[@]}" apt-get update -q >&2
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -q -y --no-install-recommends \
  "${missing[@]}" >&2
