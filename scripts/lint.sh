#!/usr/bin/env bash
# Reads the sources: clang-format (layout), clang-tidy (faults, names, size of functions; .clang-tidy says
# what and why not) and shellcheck (scripts). Changes nothing; exit status 1 when there is something to
# mend. clang-format -i FILE mends the layout.
# Usage: scripts/lint.sh [--all | --since REV | FILE...]
# By default it reads the files that differ from the last commit; "--since REV" those that differ from
# REV. BUILD_DIR overrides build/lint, which is configured but not built.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh test lint
build=${BUILD_DIR:-build/lint}
list=$(mktemp)
trap 'rm -f "$list"' EXIT
case ${1:-} in
  --all) git ls-files >"$list" ;;
  "" | --since)
    { git diff --name-only --diff-filter=d "${2:-HEAD}"; git ls-files --others --exclude-standard; } |
      sort -u >"$list"
    ;;
  -*) echo "usage: scripts/lint.sh [--all | --since REV | FILE...]" >&2; exit 2 ;;
  *) printf '%s\n' "$@" >"$list" ;;
esac

failed=0
mapfile -t sources < <(grep -E '\.(cc|h)$' "$list" || true)
mapfile -t scripts < <(grep -E '\.sh$|^\.ci/run$' "$list" || true)
echo "lint: ${#sources[@]} C++ files, ${#scripts[@]} scripts" >&2

if [ ${#scripts[@]} -gt 0 ]; then shellcheck --severity=warning "${scripts[@]}" || failed=1; fi
if [ ${#sources[@]} -gt 0 ]; then
  clang-format-14 --dry-run --Werror "${sources[@]}" || failed=1
  cmake --preset dev -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null
  # A header that belongs to a source is read with it; of the whole tree, sources show all headers.
  read=()
  for file in "${sources[@]}"; do
    if grep -qF "/$file\"" "$build/compile_commands.json" ||
      { [ "${1:-}" != --all ] && [[ $file == *.h ]]; }; then
      read+=("$file")
    elif [[ $file == *.cc ]]; then
      echo "lint: $file is not built by the preset dev: clang-tidy leaves it out" >&2
    fi
  done
  if [ ${#read[@]} -gt 0 ]; then
    printf '%s\0' "${read[@]}" | xargs -0 -n 1 -P 2 clang-tidy-14 --quiet -p "$build" 2>/dev/null || failed=1
  fi
fi
exit "$failed"
