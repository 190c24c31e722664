#!/usr/bin/env bash
# Reads the sources: clang-format (layout), clang-tidy (faults, names, size of functions; .clang-tidy says
# what and why not) and shellcheck (scripts). Changes nothing; exit status 1 when there is something to
# mend. clang-format-14 -i FILE mends the layout.
# Usage: scripts/lint.sh [--quick | --all | --since REV | FILE...]
# By default it reads the files that differ from where this branch left the remote's main branch, or,
# without a remote, from the last commit; "--since REV" those that differ from REV. It needs 4 to 8
# seconds of processor time for each, and reads two at a time; "--quick" leaves clang-tidy out when more
# than 40 files differ. BUILD_DIR overrides build/lint, which is configured but not built.
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh test fuzz bench lint
build=${BUILD_DIR:-build/lint}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
most=1000000

# changed_since REV: the files that differ from it, new ones included.
changed_since() {
  { git diff --name-only --diff-filter=d "$1"; git ls-files --others --exclude-standard; } | sort -u
}

case ${1:-} in
  --all) git ls-files >"$work/list" ;;
  "" | --quick) changed_since "$(git merge-base HEAD origin/HEAD 2>/dev/null || echo HEAD)" >"$work/list" ;;
  --since) changed_since "${2:?scripts/lint.sh --since REV}" >"$work/list" ;;
  -*) echo "usage: scripts/lint.sh [--quick | --all | --since REV | FILE...]" >&2; exit 2 ;;
  *) printf '%s\n' "$@" >"$work/list" ;;
esac
[[ ${1:-} != --quick ]] || most=40
mapfile -t sources < <(grep -E '\.(cc|h)$' "$work/list" || true)
mapfile -t scripts < <(grep -E '\.sh$|^\.ci/run$' "$work/list" || true)
echo "lint: ${#sources[@]} C++ files, ${#scripts[@]} scripts" >&2

# tidy: clang-tidy over the sources. Of the whole tree, the sources show all headers; of a few files, a
# header is read by itself, too.
tidy() {
  local file status=0
  cmake --preset dev -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    -DQORCOMM_BUILD_BENCH=ON -DQORCOMM_BUILD_FUZZERS=ON >/dev/null
  for file in "${sources[@]}"; do
    if grep -qF "/$file\"" "$build/compile_commands.json" || [[ ${1:-} != --all && $file == *.h ]]; then
      printf '%s\0' "$file" >>"$work/read"
    elif [[ $file == *.cc ]]; then
      echo "lint: $file is in no build: clang-tidy leaves it out" >&2
    fi
  done
  [ -s "$work/read" ] || return 0
  xargs -0 -n 1 -P 2 clang-tidy-14 --quiet -p "$build" <"$work/read" 2>"$work/notes" || status=1
  # With a configuration that it cannot read clang-tidy says so, checks little and reports success.
  ! grep -vE '^[0-9]+ warnings?( and [0-9]+ errors?)? generated\.$' "$work/notes" >&2 || status=1
  return "$status"
}

if [ ${#scripts[@]} -gt 0 ]; then shellcheck --external-sources --severity=warning "${scripts[@]}" || failed=1; fi
if [ ${#sources[@]} -gt 0 ]; then
  clang-format-14 --dry-run --Werror "${sources[@]}" || failed=1
  if [ ${#sources[@]} -le "$most" ]; then
    tidy "${1:-}" || failed=1
  else
    echo "lint: too many files for a quick look, clang-tidy is left out; scripts/lint.sh reads them" >&2
  fi
fi
exit "$failed"
