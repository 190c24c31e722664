#!/usr/bin/env bash
# Builds a release and measures how well the server ranks a public test collection, beside the engine
# called directly. Exit status 1 when a bar is missed.
# Usage: scripts/quality.sh [FOLDER] [--tried]
# FOLDER holds cran.all.1400, cran.qry and cranqrel; ../shared/data/cranfield unless said. Where it is
# missing the script says so and succeeds: the collection is not part of this tree. "--tried" prints what
# other settings of the engine come to. BUILD_DIR overrides build/server-bench.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

build=${BUILD_DIR:-build/server-bench}
folder=../shared/data/cranfield
options=()
for word in "$@"; do
  case $word in
    --*) options+=("$word") ;;
    *) folder=$word ;;
  esac
done
if [ ! -e "$folder/cran.all.1400" ]; then
  echo "quality: there is no test collection in $folder; nothing was measured" >&2
  exit 0
fi

bash scripts/install-deps.sh bench
cmake --preset bench -B "$build" -DQORCOMM_BUILD_SERVER=ON >&2
cmake --build "$build" --parallel "${JOBS:-2}" --target qor-quality >&2
"$build/bench/server/qor-quality" "$folder" "${options[@]}"
