#!/usr/bin/env bash
# Shows the whole road on real documents: builds a release, starts a server on a free loopback port,
# loads a folder of text files through the library's batch path, searches it, and checks three words
# against a plain word count. Leaves nothing behind but the build.
# Usage: scripts/demo.sh [FOLDER]     (default: the ICU headers of the system's include folder)
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."
root=$PWD

bash scripts/install-deps.sh
build=$root/build/release
[ -f "$build/build.ninja" ] || cmake --preset release >/dev/null
cmake --build --preset release --parallel 2

folder=${1:-$(pkg-config --variable=includedir icu-uc)/unicode}
[ -d "$folder" ] || { echo "demo: $folder is no folder" >&2; exit 2; }

work=$(mktemp -d)
server=
finish() {
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  [ -z "$server" ] || wait "$server" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT

mkfifo "$work/said"
"$build/server/qorserver" --data "$work/data" --listen 127.0.0.1:0 >"$work/said" &
server=$!
read -r -t 30 listening <"$work/said" || { echo "demo: the server did not start" >&2; exit 1; }
ctl() { "$build/cli/qorctl" --port "${listening##*:}" "$@"; }
step() { printf '\n== %s\n' "$*"; }

step "the server and its version ($listening)"
ctl --output table version

step "load $folder in asynchronous batches and fetch what became of every document"
ctl collection create demo --display-name "Demo" --lang en
ctl --output table load demo "$folder"

step "the best hits for: character iteration"
ctl --output table search demo 'character iteration' --limit 5
step "the same, streamed, for the phrase: \"default locale\""
ctl --output table search demo '"default locale"' --stream --limit 5
step "an estimate, the server's status and the collection's"
ctl --output table estimate demo 'locale AND NOT deprecated'
ctl --output table status
ctl collection list-status demo

step "three words against a plain word count of the files"
failed=0
for word in locale surrogate deprecated; do
  # A word in quotes is searched as it stands, without its other forms.
  ctl --output ndjson search demo "\"$word\"" --stream |
    sed -n 's/.*"key":"\(.*\)"}$/\1/p' | sort >"$work/found"
  (cd "$folder" && LC_ALL=C grep -rIliw -e "$word" . | sed 's,^\./,,' | sort) >"$work/counted" || true
  if cmp -s "$work/found" "$work/counted"; then
    printf '%-12s %4d files, as counted\n' "$word" "$(wc -l <"$work/found")"
  else
    failed=1
    printf '%-12s differs (< found, > counted):\n' "$word"
    diff "$work/found" "$work/counted" | head -20 || true
  fi
done

step "shut the server down"
ctl shutdown
wait "$server"
server=
exit "$failed"
