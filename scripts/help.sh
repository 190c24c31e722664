# shellcheck shell=bash
# For the other scripts here, which read it first: "--help" shows the comment at the head of the script that
# is run, which says what it does and how it is called, and ends.
for word in "$@"; do
  [[ $word != --help ]] || {
    sed -n '2,${ /^#/!q; /^# SPDX/d; /^# shellcheck/d; s/^# \{0,1\}//p }' "$0"
    exit 0
  }
done
unset word
