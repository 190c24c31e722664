#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks which folder includes which: the library's chain runs one way, public headers show no internal
# ones, the server shares the words and the infrastructure only, the command line and the examples the
# public interface only, and nothing that is shipped knows of tests, fuzzers and benchmarks. No headers
# include each other in a circle. Generated headers count as their folder's.
# usage: check_includes.sh SOURCE_TREE
set -euo pipefail
cd "$1"

chain=(infra/bytes infra/oss infra/util comm/protocol comm/results comm/support comm/request comm/response
  comm/transport)
generated=(infra/qorExport.h comm/qorExport.h)
folders=(infra comm manual server cli examples bench fuzz tests)
faults=0
seen=0

complain() {
  echo "$1: $2" >&2
  faults=$((faults + 1))
}

declare -A places=()
for header in "${generated[@]}"; do places[$header]=0; done

# Sets `found` to the place of a path in the chain. Empty: none.
place() {
  local i
  if [[ ! -v places[$1] ]]; then
    places[$1]=
    for i in "${!chain[@]}"; do
      [[ $1 != "${chain[i]}"/* ]] || places[$1]=$i
    done
  fi
  found=${places[$1]}
}

# The library: FILE includes INCLUDED along the chain, and shows nothing internal.
check_library() {
  local file=$1 included=$2 here there
  place "$file"
  here=$found
  place "$included"
  there=$found
  if [[ -z $here || -z $there ]]; then
    complain "$file" "includes $included, and one of them is in no folder of the library's chain"
  elif ((there > here)); then
    complain "$file" "includes $included against the chain ${chain[*]}"
  fi
  [[ $file != *.h || $file == */internal/* || $included != */internal/* ]] ||
    complain "$file" "is public and includes $included"
}

# only FILE INCLUDED WHY REGEX: what FILE's folder may include.
only() {
  [[ $2 =~ ^($4) ]] || complain "$1" "includes $2; $3"
}

while IFS=: read -r file included; do
  seen=$((seen + 1))
  [[ -f $included || " ${generated[*]} " == *" $included "* ]] ||
    complain "$file" "includes $included, which is no path from the root of the tree"
  case $file in
    infra/* | comm/*) check_library "$file" "$included" ;;
    server/*)
      only "$file" "$included" "the server shares infra, comm/protocol and manual only" \
        'server/|manual/|infra/|comm/protocol/|comm/qorExport\.h$'
      ;;
    manual/*) only "$file" "$included" "the writer of manual pages knows no program" 'manual/' ;;
    cli/* | examples/* | qorcomm.h)
      only "$file" "$included" "only what is public may be seen here" \
        "${file%%/*}/|manual/|qorcomm\.h$|infra/|comm/"
      [[ $included != */internal/* ]] || complain "$file" "includes $included, which is not public"
      ;;
    bench/server/*)
      only "$file" "$included" "the server's benchmarks measure server and library" \
        'bench/|tests/road/|server/|qorcomm\.h$|infra/|comm/'
      ;;
    bench/*)
      only "$file" "$included" "benchmarks measure the library" 'bench/|qorcomm\.h$|infra/|comm/'
      [[ $file == bench/qorInside.cc || $included != comm/*/internal/* ]] ||
        complain "$file" "includes $included; only bench/qorInside.cc opens the library"
      ;;
    fuzz/*)
      only "$file" "$included" "fuzzers feed parsers" \
        'fuzz/|tests/support/|tests/torture/|server/|infra/|comm/|qorcomm\.h$'
      ;;
    tests/bench/*) ;;  # tests the measures
    tests/*)
      only "$file" "$included" "tests do not rest on benchmarks or fuzzers" \
        'tests/|server/|cli/|infra/|comm/|qorcomm\.h$'
      ;;
  esac
done < <(grep -rHoE "^ *# *include +(<($(IFS='|'; echo "${folders[*]}"))/[^>]+|\"[^\"]+)" \
  --include='*.h' --include='*.cc' "${folders[@]}" qorcomm.h | sed -E 's/: *# *include +["<]/:/')

((seen > 500)) || complain "$1" "only $seen includes were found"

circles=$(grep -rHoE '^ *# *include +"[^"]+' --include='*.h' "${folders[@]}" qorcomm.h |
  sed -E 's/: *# *include +"/ /' | tsort 2>&1 > /dev/null) ||
  complain "headers" "include each other in a circle: ${circles//$'\n'/ }"

# The umbrella brings in every public header of the library.
while IFS= read -r header; do
  grep -qF "#include \"$header\"" qorcomm.h || complain qorcomm.h "lacks $header"
done < <(find comm -name '*.h' -not -path '*/internal/*')

((faults == 0)) || exit 1
echo "$seen includes obey the chain"
