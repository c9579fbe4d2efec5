#!/usr/bin/env bash
# Runs a Windows program for x64 under Wine: scripts/run/x64.sh PROGRAM.exe [ARGUMENT…]
# Input, output, exit code, environment and current directory are passed through. ZELTO_WINEPREFIX names a prefix other
# than set-up's (see new-prefix.sh).
set -euo pipefail

scripts=${BASH_SOURCE[0]%/*}/..
source "$scripts/run/wine-session.sh"
if [[ -z ${ZELTO_WINE_X64_DIR:-} ]]; then
    source "$scripts/setup/component.sh"
    ZELTO_WINE_X64_DIR=$(component_dir wine-x64)
fi
wine_folder=$ZELTO_WINE_X64_DIR
wine_command=(/usr/lib/wine/wine64)
wineserver_command=(/usr/lib/wine/wineserver64)
run_windows_program "$@"
