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
# Wine needs the page 0x7ffe0000 for itself. Its program lies 48 MB below, and the kernel puts the heap anywhere in the
# gigabyte behind the program: one start in some 6,000 would fail, with exit code 1 and without a word. So the heap is
# kept where the program ends, unless the machine does not allow that.
wine_command=(setarch --addr-no-randomize /usr/lib/wine/wine64)
"${wine_command[@]:0:2}" true 2>/dev/null || wine_command=(/usr/lib/wine/wine64)
wineserver_command=(/usr/lib/wine/wineserver64)
run_windows_program "$@"
