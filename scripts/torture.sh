#!/usr/bin/env bash
# Builds and runs the torture programs: everything that a network, a peer, the allocator, a host or
# threads can do to the client, enumerated; then the fuzzers. Ends with one line of figures for each;
# exit status 1 when any of them failed. Usage: scripts/torture.sh [quick] [--seed N]
# "quick" takes a sample with the programs of the preset asan alone and builds nothing else.
# BUILD_DIR, TSAN_BUILD_DIR and FUZZ_BUILD_DIR override build/asan, build/tsan and build/fuzz;
# FUZZ_SECONDS the time of each fuzzer, 60.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

options=()
quick=0
while [ $# -gt 0 ]; do
  case $1 in
    quick) quick=1; options+=(--quick) ;;
    --seed) options+=(--seed "$2"); shift ;;
    *) echo "usage: scripts/torture.sh [quick] [--seed N]" >&2; exit 2 ;;
  esac
  shift
done
asan=${BUILD_DIR:-build/asan}
tsan=${TSAN_BUILD_DIR:-build/tsan}
fuzz=${FUZZ_BUILD_DIR:-build/fuzz}
export ASAN_OPTIONS=${ASAN_OPTIONS:-strict_string_checks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
start=$SECONDS
failed=0
summary=()

# report NAME SECONDS_ALLOWED COMMAND...: runs it and keeps its last lines for the summary.
report() {
  local name=$1 allowed=$2 begun=$SECONDS verdict=ok lines
  shift 2
  if ! lines=$(timeout "$allowed" "$@"); then
    verdict=FAILED
    failed=1
  fi
  summary+=("$(printf '%-6s %4d s  %s' "$verdict" $((SECONDS - begun)) "${lines:-$name: no figures}")")
  echo "${summary[-1]}"
}

bash scripts/install-deps.sh test
cmake --preset asan -B "$asan" >&2
cmake --build "$asan" --parallel 2 --target torture >&2
programs=(segmentation sockets memory desync hang guest)
[ "$quick" -eq 0 ] || programs+=(threads)  # in full they run under ThreadSanitizer
for program in "${programs[@]}"; do
  report "torture-$program" 600 "$asan/tests/torture/torture-$program" "${options[@]}"
done
if [ "$quick" -eq 0 ]; then
  cmake --preset tsan -B "$tsan" >&2
  cmake --build "$tsan" --parallel 2 --target torture-threads >&2
  report torture-threads 600 "$tsan/tests/torture/torture-threads" "${options[@]}"
  report fuzz 1200 env BUILD_DIR="$fuzz" bash scripts/fuzz.sh "${FUZZ_SECONDS:-60}"
fi

echo
echo "torture: $((SECONDS - start)) s"
printf '%s\n' "${summary[@]}"
exit "$failed"
