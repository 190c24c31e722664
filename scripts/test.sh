#!/usr/bin/env bash
# Everything that must hold: reads the files that the branch has changed (scripts/lint.sh), builds with
# AddressSanitizer and UndefinedBehaviorSanitizer, takes a sample of the torture programs and runs all
# tests. Incremental; ends with the summary of ctest.
# Usage: scripts/test.sh [ctest options]
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh test
[ ! -e .git ] || bash scripts/lint.sh --quick
cmake --preset asan
cmake --build --preset asan --parallel 2
export ASAN_OPTIONS=${ASAN_OPTIONS:-strict_string_checks=1:detect_stack_use_after_return=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
bash scripts/torture.sh quick
ctest --preset asan --parallel 2 "$@"
