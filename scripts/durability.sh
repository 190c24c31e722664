#!/usr/bin/env bash
# Kills the server at every system call that writes, fails every sync, fills a disk, and looks at the
# order of syncs and replies. Ends with exit code 0 when nothing that was acknowledged is lost.
# Usage: scripts/durability.sh [PRESET]   (dev unless given)
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."
preset=${1:-dev}

bash scripts/install-deps.sh test
cmake --preset "$preset"
cmake --build --preset "$preset" --parallel 2 --target durability
tool=build/$preset/tests/durability/durability
server=build/$preset/server/qorserver
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0:new_delete_type_mismatch=0}
for mode in order kill sync full disk; do
  "$tool" "$mode" "$server" || [ $? -eq 77 ]  # skipped, as it says itself
done
