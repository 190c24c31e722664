#!/usr/bin/env bash
# Builds the Debian packages libqorcomm1, libqorcomm-dev, qorctl and qorserver into build/packages.
# The same sources give the same bytes, wherever they are built: every date in a package is that of the
# last commit (SOURCE_DATE_EPOCH overrides it; without git it is that of CHANGELOG.md).
# Usage: scripts/package.sh [--check]
# "--check" builds them a second time from a copy of the sources in another folder, compares the bytes,
# and uses the packages as a stranger would. BUILD_DIR overrides build/package, PACKAGE_DIR
# build/packages.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

check=0
case ${1:-} in
  "") ;;
  --check) check=1 ;;
  *) echo "usage: scripts/package.sh [--check]" >&2; exit 2 ;;
esac
build=${BUILD_DIR:-build/package}
packages=$(realpath -m "${PACKAGE_DIR:-build/packages}")
if [ -z "${SOURCE_DATE_EPOCH:-}" ]; then
  SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CHANGELOG.md)
fi
export SOURCE_DATE_EPOCH

# make_packages SOURCE BUILD OUTPUT
make_packages() {
  local work
  (cd "$1" && cmake --preset package -B "$2") >&2
  cmake --build "$2" --parallel 2 >&2
  work=$(mktemp -d)
  (cd "$2" && cpack -B "$work") >"$2/cpack.log" || { cat "$2/cpack.log" >&2; rm -rf "$work"; return 1; }
  mkdir -p "$3"
  rm -f "$3"/*.deb
  mv "$work"/*.deb "$3/"
  rm -rf "$work"
}

bash scripts/install-deps.sh package
make_packages . "$build" "$packages"
(cd "$packages" && sha256sum -- *.deb)
[ "$check" -eq 1 ] || exit 0

elsewhere=$(mktemp -d)
trap 'rm -rf "$elsewhere"' EXIT
mkdir "$elsewhere/another-folder"
tar -c --exclude=./build --exclude=./build-* --exclude=./out --exclude=./.git . |
  tar -x -C "$elsewhere/another-folder"
make_packages "$elsewhere/another-folder" "$elsewhere/another-folder/out" "$elsewhere/packages"
diff -r "$packages" "$elsewhere/packages" ||
  { echo "package: two builds of the same sources differ" >&2; exit 1; }
echo "built twice, in different folders: the same bytes"
bash tests/install/check_packages.sh cmake "$packages" "$elsewhere/used"
