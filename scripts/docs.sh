#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2016  # backquotes are Markdown's here
# The documents. Snippets in the pages are regions of the programs under examples/, which the tests
# compile and run: a line "<!-- snippet: FILE REGION -->" stands above each, and the code block below it is
# what stands in FILE between "// [REGION]" and "// [end]".
# Usage: scripts/docs.sh              fill the snippets, check the pages, build the site
#        scripts/docs.sh check        check only: snippets, links, and names of files and functions
#        scripts/docs.sh site [DIR]   build the site only, into DIR (default: build/docs)
set -euo pipefail
. "$(dirname "$0")/help.sh"
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
faults=0

complain() {
  echo "docs: $*" >&2
  faults=$((faults + 1))
}

pages() { printf '%s\n' ./*.md docs/*.md docs/*/*.md | sed 's,^\./,,'; }

# region FILE NAME: the lines of a region, moved to the left margin.
region() {
  awk -v begin="// [$2]" '
    { bare = $0; sub(/^ */, "", bare) }
    bare == begin { inside = 1; indent = length($0) - length(bare); next }
    inside && bare == "// [end]" { exit }
    inside { print substr($0, indent + 1) }' "$1"
}

# filled PAGE: the page with its snippets as they should be.
filled() {
  local line file name skipping=0
  while IFS= read -r line; do
    if ((skipping == 1)) && [[ $line == '```cpp' ]]; then skipping=2; continue; fi
    if ((skipping == 2)); then [[ $line != '```' ]] || skipping=0; continue; fi
    skipping=0
    printf '%s\n' "$line"
    if [[ $line =~ ^'<!-- snippet: '([^ ]+)' '([^ ]+)' -->'$ ]]; then
      file=${BASH_REMATCH[1]} name=${BASH_REMATCH[2]}
      echo "$file $name" >>"$work/used"
      printf '```cpp\n'
      [[ -f $file ]] && region "$file" "$name"
      printf '```\n'
      skipping=1
    fi
  done <"$1"
}

# snippets fill|check
snippets() {
  local page file name
  : >"$work/used"
  for page in $(pages); do
    filled "$page" >"$work/page"
    if [[ $1 == fill ]]; then
      cmp -s "$work/page" "$page" || cp "$work/page" "$page"
    elif ! diff -u "$page" "$work/page" >"$work/diff"; then
      cat "$work/diff" >&2
      complain "$page: a snippet is not what the example says; run scripts/docs.sh"
    fi
  done
  while read -r file name; do
    [[ -f $file && -n $(region "$file" "$name") ]] || complain "there is no region $name in $file"
  done < <(sort -u "$work/used")
  while IFS=: read -r file name; do
    grep -qxF "$file $name" "$work/used" || complain "no page quotes the region $name of $file"
  done < <(grep -oE '// \[[a-z_]+\]$' examples/*.cc | sed 's,// \[\(.*\)\],\1,' | grep -v ':end$')
}

# Headings as a browser addresses them.
anchors() {
  grep -E '^#+ ' "$1" | sed -E 's/^#+ +//' | tr '[:upper:]' '[:lower:]' |
    sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'
}

# Links within the tree lead somewhere.
links() {
  local page target file anchor
  for page in $(pages); do
    while IFS= read -r target; do
      [[ $target != *://* && $target != mailto:* ]] || continue
      file=${target%%#*} anchor=${target#"$file"}
      file=${file:+$(dirname "$page")/$file}
      file=${file:-$page}
      [[ -e $file ]] || { complain "$page links to $target, which is not there"; continue; }
      [[ -z $anchor ]] || anchors "$file" | grep -qxF -e "${anchor#\#}" ||
        complain "$page links to $target, but that page has no such heading"
    done < <(sed -E '/^```/,/^```$/d; s/`[^`]*`//g' "$page" | grep -oE '\]\([^)]+\)' |
      sed 's/^](//; s/)$//')
  done
}

# Files, folders and qualified names that a page has in code type exist; on the page about the
# architecture, so does every single name.
names() {
  local page word
  local folders='infra|comm|manual|server|cli|tests|fuzz|bench|examples|docs|scripts|cmake'
  find ${folders//|/ } -type f >"$work/files"
  grep -E "^($folders)/.*\.(h|cc|txt|cmake|in)$" "$work/files" |
    xargs grep -ohE '[A-Za-z_][A-Za-z_0-9]*' | sort -u >"$work/words"
  for page in $(pages); do
    while IFS= read -r word; do
      if [[ $word =~ ^($folders)/[^\ ]*$ ]]; then
        compgen -G "${word%/}" >"$work/found" || complain "$page names $word, which is not there"
      elif [[ $word =~ ^([a-z]+/)*qor[A-Za-z]+\.(h|cc)$ ]]; then
        grep -qE "(^|/)${word//./\\.}$" "$work/files" || complain "$page names $word, which is not there"
      elif [[ $word =~ ^[A-Za-z_]+(::[A-Za-z_]+)+(\(.*\))?$ ||
              ($page == docs/architecture.md && $word =~ ^[A-Za-z_]+(\(\))?$) ]]; then
        word=${word%%(*}
        grep -qxF "${word##*::}" "$work/words" || complain "$page names $word, which is not there"
      fi
    done < <(sed -E '/^```/,/^```$/d' "$page" | grep -oE '`[^`]+`' | tr -d '`' | sort -u)
  done
  while IFS=: read -r page word; do
    [[ -e $word ]] || complain "$page names $word, which is not there"
  done < <(grep -oHE '<text class="file"[^>]*>[^<]+' docs/*.svg | sed 's/:.*>/:/')
}

check() {
  snippets check
  links
  names
}

# What the site may leave without a comment: special member functions, and functions and types that say
# all by their names.
UNSAID=(-e 'Member (operator=|~|BaseException\(|iterator |const_iterator |(get|set|is|has)[A-Z])'
        -e 'Member (size|length|capacity|data|begin|end|clear|swap|name)\('
        -e 'Member (.*)\(.* of class (.*::)?\1(<.*)? is not')

# site DIR
site() {
  local out=$1 file target
  command -v doxygen >/dev/null || { echo "docs: install doxygen: scripts/install-deps.sh docs" >&2; exit 2; }
  rm -rf "$out"
  mkdir -p "$out"
  QOR_DOCS_OUTPUT=$out QOR_DOCS_WARNINGS=$work/warnings \
    QOR_DOCS_VERSION=$(sed -n 's/^project(qorcomm VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt) \
    doxygen docs/Doxyfile || complain "doxygen failed"
  if grep -vE "${UNSAID[@]}" "$work/warnings" >&2; then complain "the site has warnings"; fi
  [[ -f $out/html/index.html ]] || { complain "no site was made"; return; }
  # Doxygen knows the examples' pages, but not links to them.
  sed -i -E 's,href="(\.\./)*examples/([a-z]+)\.cc",href="\2_8cc_source.html",g' "$out"/html/*.html
  while IFS=: read -r file target; do
    target=${target#href=}
    [[ -e $out/html/${target%%#*} ]] || complain "${file##*/} of the site links to $target, which is not there"
  done < <(grep -oHE 'href="[^"#:]+"' "$out"/html/*.html | tr -d '"' | sort -u)
}

case ${1:-all} in
  all)
    snippets fill
    links
    names
    site build/docs
    ((faults > 0)) || echo "build/docs/html/index.html"
    ;;
  check) check ;;
  site) site "${2:-build/docs}" ;;
  *) sed -n '/^# Usage/,/^set/p' "$0" | grep '^#' >&2; exit 2 ;;
esac
((faults == 0))
