#!/usr/bin/env bash
# Builds a release and measures what the server costs beside its engine called directly, five rounds:
# prints the table of ratios and writes it as JSON.
# Usage: scripts/server_bench.sh [--quick] [--only REGEX] [--markdown] [--json FILE] [--list]
# In full it takes about four minutes. "--json" is build/server-bench/server-bench.json unless said.
# BUILD_DIR overrides build/server-bench.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

build=${BUILD_DIR:-build/server-bench}
bash scripts/install-deps.sh bench
cmake --preset bench -B "$build" -DQORCOMM_BUILD_SERVER=ON >&2
cmake --build "$build" --parallel "${JOBS:-2}" --target qor-server-bench >&2
"$build/bench/server/qor-server-bench" --json "$build/server-bench.json" "$@"
