#!/usr/bin/env bash
# Configures a preset's build folder: configure.sh PRESET [OPTION…]. From the start, when set-up has another toolchain
# than it had then: CMake keeps to the compilers that it has found once.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup/env.sh

preset=$1
shift
options=("$@")
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "build/$preset/CMakeCache.txt" 2>/dev/null || true)
if [[ $compiler == *-w64-mingw32-* && -d $ZELTO_TOOLCHAIN_DIR && $compiler != "$ZELTO_TOOLCHAIN_DIR"/* ]]; then
    options+=(--fresh)
fi
exec cmake --preset "$preset" "${options[@]}"
