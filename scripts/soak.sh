#!/usr/bin/env bash
# Runs a server under mixed load for some time: writers, readers, filters, an administrator, hostile
# connections, kills and restarts in the first half. Prints a line a minute and one of figures at the
# end; exit code 1 when anything acknowledged was lost, an answer was wrong, a request hung, or memory,
# descriptors or threads grew in the second half, which is one life of the server. The same load for
# half a minute is in every test run.
# Usage: scripts/soak.sh [MINUTES] [CORES] [PRESET]   (60 minutes, half a core, dev unless given; memory
# is judged from ten minutes on, and not under a sanitizer). With the preset tsan-server races between
# the server's threads are found, too.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."
minutes=${1:-60}
cores=${2:-0.5}
preset=${3:-dev}

bash scripts/install-deps.sh test
cmake --preset "$preset" -DQORCOMM_BUILD_TESTS=ON >&2
cmake --build --preset "$preset" --parallel 2 --target soak >&2
"build/$preset/tests/soak/soak" "build/$preset/server/qorserver" \
  "$(awk -v minutes="$minutes" 'BEGIN { print 60 * minutes }')" "$cores"
