#!/usr/bin/env bash
# Measures what 10,000 idle and 1,000 slow connections cost a client that behaves, and whether the server
# keeps calm without descriptors. Needs a limit of 12,000 open files or more (ulimit -Hn).
# Usage: scripts/crowd.sh [PRESET] [REQUESTS]   (release-like figures need an optimised preset)
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."
preset=${1:-dev}

cmake --preset "$preset"
cmake --build --preset "$preset" --parallel 2 --target crowd
tool=build/$preset/tests/crowd/crowd
server=build/$preset/server/qorserver
"$tool" descriptors "$server"
"$tool" guests "$server" 10000 1000 "${2:-20000}"
