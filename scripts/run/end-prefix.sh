#!/usr/bin/env bash
# Ends whatever runs in a prefix that new-prefix.sh made, and removes it: scripts/run/end-prefix.sh x64|arm64 FOLDER
set -euo pipefail

scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
if (($# != 2)) || [[ $1 != x64 && $1 != arm64 ]]; then
    printf 'usage: %s x64|arm64 FOLDER\n' "$0" >&2
    exit 2
fi
if [[ ! -e $2/system.reg ]]; then
    printf '%s: %s is no Wine prefix\n' "$0" "$2" >&2
    exit 1
fi
ZELTO_WINEPREFIX=$2 "$scripts/run/$1.sh" --end-session
rm -rf "$2"
