#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks which folder includes which: the library's chain runs one way, public headers show no
# internal ones, the server shares the words and the infrastructure only, the command line the public
# interface only.
# usage: check_includes.sh SOURCE_TREE
set -euo pipefail
cd "$1"

chain=(infra comm/protocol comm/results comm/support comm/request comm/response comm/transport)
faults=0
seen=0

complain() {
  echo "$1: $2" >&2
  faults=$((faults + 1))
}

# Place of a path in the chain; the generated export header of comm stands before it. Empty: none.
place() {
  local i
  [[ $1 != comm/qorExport.h ]] || { echo 0; return; }
  for i in "${!chain[@]}"; do
    [[ $1 != "${chain[i]}"/* ]] || { echo "$i"; return; }
  done
}

declare -A known
while IFS=: read -r file included; do
  seen=$((seen + 1))
  [[ -n ${known[$included]:-} ]] || known[$included]=$(place "$included")x
  there=${known[$included]%x}
  case $file in
    infra/* | comm/*)
      [[ -n ${known[$file]:-} ]] || known[$file]=$(place "$file")x
      here=${known[$file]%x}
      if [[ -z $here || -z $there ]]; then
        complain "$file" "includes $included, which is no folder of the library's chain"
      elif ((there > here)); then
        complain "$file" "includes $included against the chain ${chain[*]}"
      fi
      [[ $file != *.h || $file == */internal/* || $included != */internal/* ]] ||
        complain "$file" "is public and includes $included"
      ;;
    server/*)
      [[ $included != comm/* || $included == comm/protocol/* || $included == comm/qorExport.h ]] ||
        complain "$file" "includes $included; the server shares comm/protocol only"
      ;;
    cli/* | examples/*)
      [[ $included != */internal/* && $included != server/* ]] ||
        complain "$file" "includes $included, which is not public"
      ;;
    qorcomm.h)
      [[ $included != */internal/* ]] || complain "$file" "is public and includes $included"
      ;;
  esac
done < <(grep -rHoE '^ *# *include +["<](infra|comm|server|cli|tests)/[^">]+|^ *# *include +"[^"]+' \
  --include='*.h' --include='*.cc' infra comm server cli examples qorcomm.h |
  sed -E 's/: *# *include +["<]/:/')

((seen > 100)) || complain "$1" "only $seen includes were found"

# The umbrella brings in every public header but the bare tools of the infrastructure.
while IFS= read -r header; do
  grep -qF "#include \"$header\"" qorcomm.h || complain qorcomm.h "lacks $header"
done < <(find comm -name '*.h' -not -path '*/internal/*' -not -name qorRecordCursor.h \
  -not -name qorSizeableBuffer.h)

((faults == 0)) || exit 1
echo "$seen includes obey the chain"
