#!/usr/bin/env bash
# Builds a release and measures it side by side with what else could be used: prints the table of
# ratios, then times of the library's parts, and writes both as JSON.
# Usage: scripts/bench.sh [--quick] [--only REGEX] [--markdown] [--json FILE] [--list]
# In full it takes under six minutes. "--quick" takes under half a minute and is good for a first look
# only; "--only" takes the figures whose names match (--list names them); both leave the parts out.
# "--json" is build/bench/bench.json unless said; the parts' file has .micro before its .json.
# BUILD_DIR overrides build/bench.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

build=${BUILD_DIR:-build/bench}
json=$build/bench.json
arguments=("$@")
whole=1
while [ $# -gt 0 ]; do
  case $1 in
    --json) json=${2:?--json needs a file}; shift ;;
    --only | --list | --quick) whole=0 ;;
  esac
  shift
done

bash scripts/install-deps.sh bench
cmake --preset bench -B "$build" >&2
cmake --build "$build" --parallel 2 >&2
"$build/bench/qor-bench" --json "$json" "${arguments[@]}"
if ((whole)); then
  echo
  "$build/bench/qor-micro" --benchmark_min_time=0.1 --benchmark_out="${json%.json}.micro.json"
fi
