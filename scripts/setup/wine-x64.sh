#!/usr/bin/env bash
# Prepares what x64 programs run in: wine-x64.sh PART FINAL fills the empty folder PART, which will be moved to FINAL.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$here/steps.sh"
source "$here/wine-prefix.sh"

make_x64_prefixes() {
    make_prefixes "$part" "$final" /usr/lib/wine/wine64 -- /usr/lib/wine/wineserver64
}

part=$1
final=$2
if (($# == 3)); then
    "$3"
else
    step "Wine for x64: preparing a prefix" "$0" "$part" "$final" make_x64_prefixes
fi
