#!/usr/bin/env bash
# Formatting, static analysis and shell scripts. Static analysis reads the x64 build's compile commands, so that it sees
# the Windows code as the compiler does. What it has found clean is remembered in set-up's cache, by the content of the
# file, of the headers that it includes and of the list of checks: only what changed is analysed again.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
cd "$root"
# shellcheck source=scripts/setup/env.sh
source scripts/setup/env.sh

tracked() { git ls-files --cached --others --exclude-standard -- "$@" | while read -r file; do
    if [ -f "$file" ]; then printf '%s\n' "$file"; fi
done; }

check_format() {
    mapfile -t sources < <(tracked '*.cpp' '*.h' '*.c')
    clang-format-19 --dry-run --Werror "${sources[@]}"
}

check_scripts() {
    mapfile -t scripts < <(tracked '*.sh' .ci/run)
    shellcheck -x "${scripts[@]}"
}

# One file, $2; remembers under the key $1 that it is clean. Called once per file, two at a time.
analyse_file() {
    local remembered="$ZELTO_CACHE_DIR/lint/$1" file="$2" sysroot="$ZELTO_TOOLCHAIN_DIR/x86_64-w64-mingw32"
    [ ! -e "$remembered" ] || return 0
    clang-tidy-19 --quiet -p build/x64 --warnings-as-errors='*' \
        --extra-arg-before=--target=x86_64-w64-windows-gnu --extra-arg="--sysroot=$sysroot" \
        --extra-arg="-resource-dir=$ZELTO_TOOLCHAIN_DIR/lib/clang/19" --extra-arg=-stdlib=libc++ \
        --extra-arg=-Wno-unused-command-line-argument "$file" 2>/dev/null
    mkdir -p "${remembered%/*}"
    touch "$remembered"
}

check_statically() {
    scripts/configure.sh x64 >/dev/null
    local common
    common="$(clang-tidy-19 --version) $ZELTO_TOOLCHAIN_DIR $(cat .clang-tidy "${BASH_SOURCE[0]}")"
    mapfile -t units < <(tracked '*.cpp' '*.c' | grep -v -e '_test\.cpp$' -e '^tests/' -e '^fuzz/' -e '^bench/')
    [ ${#units[@]} -gt 0 ]
    export -f analyse_file
    export ZELTO_CACHE_DIR ZELTO_TOOLCHAIN_DIR
    # shellcheck disable=SC2016  # the inner shell expands its own arguments
    /usr/bin/python3 -B scripts/test/analysis_keys.py "$common" "${units[@]}" |
        xargs -P "$(nproc)" -n 2 bash -c 'set -euo pipefail; analyse_file "$1" "$2"' _
}

check_format
check_scripts
check_statically
