#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The README as a newcomer takes it: each block of commands of its first steps is given to a shell as a
# whole, and so is the block that starts a server for a program. The build is the one under test, the server
# takes a free port and folders of its own, and what is built and installed there is passed over.
# Usage: first_steps.sh SOURCE_TREE QORSERVER QORCTL QUICKSTART
set -euo pipefail
source=$1 work=$(mktemp -d)
export WORK=$work QORSERVER=$2 QORCTL=$3 QUICKSTART=$4
finish() {
  [ ! -s "$work/server" ] || kill "$(cat "$work/server")" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT

# What stands for the programs: a port that was free instead of the usual one, which qorctl does not know
# before the server has said it.
mkdir "$work/bin"
cat >"$work/bin/qorserver" <<'END'
#!/usr/bin/env bash
[ "$1" = --data ] && shift 2
echo $$ >"$WORK/server"
exec "$QORSERVER" --data "$(mktemp -d "$WORK/data.XXXXXX")" --listen 127.0.0.1:0 "$@" >"$WORK/said"
END
cat >"$work/bin/qorctl" <<'END'
#!/usr/bin/env bash
port=$(sed -n 's/^listening on .*://p' "$WORK/said" 2>/dev/null)
exec "$QORCTL" --port "${port:-1}" "$@"
END
cat >"$work/bin/first" <<'END'
#!/usr/bin/env bash
exec "$QUICKSTART" "$(sed -n 's/^listening on .*://p' "$WORK/said")"
END
chmod +x "$work/bin/"*
export PATH=$work/bin:$PATH

# blocks HEADING NEXT_HEADING: the lines of all blocks of commands between two headings of the page.
blocks() {
  sed -n "/^## $1\$/,/^## $2\$/p" "$source/README.md" |
    awk '/^```/ { inside = !inside; commands = $0 == "```"; next } inside && commands'
}

# run COUNT: takes the commands on standard input, of which at least COUNT are to be run.
run() {
  grep -vE '^(scripts/install-deps\.sh|cmake |export PATH=)' >"$work/block"
  [ "$(grep -c . "$work/block")" -ge "$1" ] || { echo "only these lines were found:"; cat "$work/block"; exit 1; }
  rm -f "$work/said"
  if ! bash -e "$work/block" >"$work/out" 2>&1 </dev/null; then
    echo "FAILED:"; cat "$work/block" "$work/out"
    exit 1
  fi
}

cd "$work"
cp -r "$source/docs" "$source/examples" .
run 8 < <(blocks 'First steps' 'In a program')
[ "$(grep -c '\.md' out)" -ge 2 ] || { echo "the searches found nothing:"; cat out; exit 1; }
run 4 < <(blocks 'In a program' 'What is promised, and what is not' |
  sed -e '/^mkdir \|^cp /d' -e '/^cat >/,/^END$/d' -e 's,^/tmp/first/build/first ,first ,')
grep -q '^first ' out || { echo "the program found nothing:"; cat out; exit 1; }
