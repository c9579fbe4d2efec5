#!/usr/bin/env bash
# Makes a fresh Wine prefix, as set-up has prepared it: scripts/run/new-prefix.sh x64|arm64 FOLDER
# Programs run in it when ZELTO_WINEPREFIX names the folder, which must not be there yet. It shares the files of Wine's
# own programs with set-up's prefix; do not write into those. To be rid of it: scripts/run/end-prefix.sh.
set -euo pipefail

scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$scripts/setup/env.sh"
source "$scripts/setup/wine-prefix.sh"

case ${1:-} in
    x64) template=$ZELTO_WINE_X64_DIR/template ;;
    arm64) template=$ZELTO_WINE_ARM64_DIR/template ;;
    *) template= ;;
esac
if (($# != 2)) || [[ -z $template ]]; then
    printf 'usage: %s x64|arm64 FOLDER\n' "$0" >&2
    exit 2
fi
if [[ ! -d $template ]]; then
    printf '%s: Wine for %s is not set up; run scripts/setup.sh %s\n' "$0" "$1" "$1" >&2
    exit 1
fi
if [[ -e $2 ]]; then
    printf '%s: %s is there already\n' "$0" "$2" >&2
    exit 1
fi
clone_prefix "$template" "$2"
