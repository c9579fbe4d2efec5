#!/usr/bin/env bash
# Runs a Windows program for ARM64 under Wine: scripts/run/arm64.sh PROGRAM.exe [ARGUMENT…]
# Input, output, exit code, environment and current directory are passed through. ZELTO_WINEPREFIX names a prefix other
# than set-up's (see new-prefix.sh).
set -euo pipefail

scripts=${BASH_SOURCE[0]%/*}/..
source "$scripts/run/wine-session.sh"
source "$scripts/run/arm64-enter.sh"
if [[ -z ${ZELTO_WINE_ARM64_DIR:-} ]]; then
    source "$scripts/setup/component.sh"
    ZELTO_WINE_ARM64_DIR=$(component_dir wine-arm64)
fi
wine_folder=$ZELTO_WINE_ARM64_DIR
join_room
set_room_command
wine_command=("${room_command[@]}" /usr/lib/wine/wine64)
wineserver_command=("${room_command[@]}" /usr/lib/wine/wineserver64)
run_windows_program "$@"
