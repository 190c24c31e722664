#!/usr/bin/env bash
# Runs every fuzz target under libFuzzer with AddressSanitizer and UndefinedBehaviorSanitizer; one line
# of figures each, exit status 1 when there is a finding. Usage: scripts/fuzz.sh [SECONDS] [TARGET...]
# SECONDS per target, 60 by default. Findings are kept in out/fuzz; once fixed, an input moves to
# fuzz/crashes/TARGET, where it is replayed as a test. BUILD_DIR overrides build/fuzz.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
build=${BUILD_DIR:-build/fuzz}
bash scripts/install-deps.sh fuzz
cmake --preset fuzz -B "$build" >&2
cmake --build "$build" --parallel 2 >&2

targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(replies chunks plain_text pairs converter frames bodies round_trip)
export ASAN_OPTIONS=${ASAN_OPTIONS:-quarantine_size_mb=32}  # what is freed counts as memory held
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
failed=0
for target in "${targets[@]}"; do
  corpus=out/fuzz/corpus/$target
  found=out/fuzz/findings/$target
  log=out/fuzz/$target.log
  mkdir -p "$corpus" "$found"
  "$build/fuzz/fuzz_replay" "$target" "fuzz/seeds/$target" "fuzz/crashes/$target" \
    --unpack "$corpus" >/dev/null
  status=0
  # The plain-text parser warns on the standard error stream; closing it keeps the reports.
  "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=8192 -len_control=20 -timeout=10 \
    -rss_limit_mb=1024 -malloc_limit_mb=256 -close_fd_mask=2 -print_final_stats=1 -use_value_profile=1 \
    -artifact_prefix="$found/" "$corpus" >"$log" 2>&1 || status=$?
  figure() { sed -n "s/^stat::$1: *//p" "$log" | tail -n 1; }
  edges=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
  findings=$((status != 0))
  echo "fuzz $target: $(figure number_of_executed_units) executions, $(figure average_exec_per_sec)/s," \
    "$edges edges, $findings findings"
  if [ "$status" -ne 0 ]; then
    failed=1
    grep -m 3 -E 'ORACLE|ERROR|runtime error|Test unit written' "$log" >&2 || tail -n 5 "$log" >&2
  fi
done
exit "$failed"
