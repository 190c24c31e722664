#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Every script that people call says with --help how it is called, and does nothing else then.
# Usage: check_scripts.sh SOURCE_TREE
set -euo pipefail
cd "$1"
asked=0
for script in scripts/*.sh; do
  [ "$script" != scripts/help.sh ] || continue
  said=$(timeout 20 bash "$script" --help 2>&1) || { echo "$script --help ends with $?: $said"; exit 1; }
  grep -qF "Usage: $script" <<<"$said" || { echo "$script --help does not say how it is called: $said"; exit 1; }
  asked=$((asked + 1))
done
[ "$asked" -ge 10 ] || { echo "only $asked scripts were found"; exit 1; }
echo "$asked scripts say how they are called"
