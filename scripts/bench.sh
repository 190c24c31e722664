#!/usr/bin/env bash
# Builds a release and measures it side by side with what else could be used: prints the table of
# ratios, then the micro measurements, and writes both as JSON.
# Usage: scripts/bench.sh [--quick] [--only REGEX] [--markdown] [--json FILE] [--list]
# "--quick" takes under half a minute and is good for a first look only; "--only" takes the figures
# whose names match (--list names them) and leaves the micro measurements out; "--json" is
# build/bench/bench.json unless said. BUILD_DIR overrides build/bench.
set -euo pipefail
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
