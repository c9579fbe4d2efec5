#!/usr/bin/env bash
# Formatting, static analysis and shell scripts. Static analysis reads the x64 build's compile commands, so that it sees
# the Windows code as the compiler does. What it has found clean is remembered in set-up's cache, by the content of the
# file, of every header and of the list of checks: only what changed is analysed again.
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

# One file; remembers that it is clean. Called once per file, two at a time.
analyse_file() {
    local file="$1" content remembered sysroot="$ZELTO_TOOLCHAIN_DIR/x86_64-w64-mingw32"
    content=$(sha256sum <"$file" | cut -c1-32)
    remembered="$ZELTO_CACHE_DIR/lint/$2-$content"
    [ ! -e "$remembered" ] || return 0
    clang-tidy-19 --quiet -p build/x64 --warnings-as-errors='*' \
        --extra-arg-before=--target=x86_64-w64-windows-gnu --extra-arg="--sysroot=$sysroot" \
        --extra-arg="-resource-dir=$ZELTO_TOOLCHAIN_DIR/lib/clang/19" --extra-arg=-stdlib=libc++ \
        --extra-arg=-Wno-unused-command-line-argument "$file" 2>/dev/null
    mkdir -p "${remembered%/*}"
    touch "$remembered"
}

check_statically() {
    cmake --preset x64 >/dev/null
    local rest
    rest=$( (clang-tidy-19 --version && tracked .clang-tidy '*.h' | xargs sha256sum) | sha256sum | cut -c1-32)
    mapfile -t units < <(tracked '*.cpp' | grep -v -e '_test\.cpp$' -e '^tests/' -e '^fuzz/' -e '^bench/')
    [ ${#units[@]} -gt 0 ]
    export -f analyse_file
    export ZELTO_CACHE_DIR ZELTO_TOOLCHAIN_DIR
    # shellcheck disable=SC2016  # the inner shell expands its own arguments
    printf '%s\0' "${units[@]}" |
        xargs -0 -P "$(nproc)" -I{} bash -c 'set -euo pipefail; analyse_file "$1" "$2"' _ {} "$rest"
}

check_format
check_scripts
check_statically
