#!/usr/bin/env bash
# Makes the cross toolchain: toolchain.sh PART FINAL fills the empty folder PART, which will be moved to FINAL.
#
# Debian packages clang, lld and the LLVM tools, which serve every target; what it doesn't package for Windows is the
# runtime, and that is built here from its source packages: headers and C runtime (mingw-w64), compiler-rt's built-ins,
# libunwind, libc++abi and libc++. Everything is built with control-flow guard, for one module without it would leave
# the products unguarded where their own runtime is concerned.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$here/private-apt.sh"
source "$here/steps.sh"
source "$here/toolchain-wrappers.sh"

# Prints the version of source package $1 to take: $2 when the mirror has it, else the suite's current one.
source_version() {
    local versions
    versions=$(private_apt_cache showsrc "$1" | sed -n "/^Package: $1\$/,/^\$/s/^Version: //p" | sort -V)
    if grep -qxF "$2" <<<"$versions"; then
        printf '%s\n' "$2"
    else
        tail -n 1 <<<"$versions"
    fi
}

# Fetches the upstream archive of source package $1, version $2 if possible, into the folder of sources, and unpacks it
# as folder $3; further arguments go to tar. Only the upstream archive: the packaging isn't used.
fetch_source() {
    local package=$1 pinned=$2 folder=$3 version
    shift 3
    version=$(source_version "$package" "$pinned")
    if [[ $version != "$pinned" ]]; then
        printf 'set-up note: %s %s is gone from the mirror; taking %s instead\n' "$package" "$pinned" "$version"
        printf '%s %s\n' "$package" "$version" >>"$part/replaced-versions"
    fi
    mkdir -p "$sources/$package"
    (cd "$sources/$package" && private_apt source --download-only --tar-only "$package=$version")
    mkdir -p "$sources/$folder"
    tar --extract --file "$(find "$sources/$package" -name '*.orig.tar.*' ! -name '*.asc')" \
        --directory "$sources/$folder" --strip-components=1 "$@"
    rm -r "${sources:?}/$package"
}

fetch_sources() {
    open_private_apt "$part/apt" "$(dpkg --print-architecture)" deb-src
    fetch_source mingw-w64 "$pinned_mingw" mingw
    # The tests are most of the LLVM archive's bulk.
    fetch_source llvm-toolchain-19 "$pinned_llvm" llvm --wildcards --exclude='*/test/*' '*/cmake/*' '*/runtimes/*' \
        '*/compiler-rt/*' '*/libunwind/*' '*/libcxxabi/*' '*/libcxx/*' '*/llvm/utils/llvm-lit/*'
    rm -r "$part/apt"
}

# Starts the build of target $1 as a process group of its own and sets started to its number.
start_target() {
    set -m
    "$here/toolchain-target.sh" "$1" "$sources" "$part" >"$part/$1.log" 2>&1 &
    set +m
    started=$!
    groups+=("$started")
}

# What an interrupted run has started in the background would go on for minutes.
stop_targets() {
    local group
    for group in "${groups[@]}"; do
        kill -- "-$group" 2>/dev/null || true
    done
}

# Both targets at the same time: a good part of each is configuration, which keeps one core busy.
build_targets() {
    local x64 arm64 started
    groups=()
    trap stop_targets EXIT
    trap 'exit 130' INT TERM
    start_target x86_64
    x64=$started
    start_target aarch64
    arm64=$started
    # The log ends with the one that failed.
    if ! wait "$x64"; then
        cat "$part/x86_64.log"
        return 1
    fi
    cat "$part/x86_64.log"
    wait "$arm64" || started=failed
    cat "$part/aarch64.log"
    [[ $started != failed ]]
}

# A program with what breaks first when a runtime is incomplete must compile and link, guarded.
check_target() {
    local target=$1-w64-mingw32
    printf '%s\n' '#include <windows.h>' '#include <winhttp.h>' '#include <future>' '#include <iostream>' \
        'int main() { try { std::cout << std::async([] { return 1; }).get(); } catch (...) { return 1; } }' \
        >"$part/check.cpp"
    "$part/bin/$target-clang++" -std=c++20 -O2 -mguard=cf -static "$part/check.cpp" -o "$part/check.exe"
    "$part/bin/$target-readobj" --file-headers "$part/check.exe" | grep -q IMAGE_DLL_CHARACTERISTICS_GUARD_CF
}

check_targets() {
    check_target x86_64
    check_target aarch64
    rm -r "$part"/check.* "$part"/*.log "$sources"
}

part=$1
sources=$part/sources
if (($# == 3)); then
    "$3"
else
    step "cross toolchain: fetching the sources" "$0" "$1" "$2" fetch_sources
    write_wrappers "$part"
    step "cross toolchain: building the runtimes for x64 and ARM64 (about 3 minutes on 2 cores)" \
        "$0" "$1" "$2" build_targets
    step "cross toolchain: trying it" "$0" "$1" "$2" check_targets
fi
