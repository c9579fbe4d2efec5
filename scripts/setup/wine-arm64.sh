#!/usr/bin/env bash
# Prepares what ARM64 programs run in: wine-arm64.sh PART FINAL fills the empty folder PART, which will be moved to
# FINAL. The folder "root" in it is a small Debian for ARM64 with Wine, unpacked but not configured: nothing of it runs
# but Wine and a shell. scripts/run/arm64-room.sh tells how programs get to see it as theirs.
#
# Always the pinned suite's Wine: earlier ones have Unix libraries for DLLs, and on ARM64 the two sides' variable
# arguments don't agree, so that any program that formats text fails.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$here/private-apt.sh"
source "$here/steps.sh"
source "$here/wine-prefix.sh"

# Prints what to ask apt for, NAME=VERSION in lines: the pinned versions, or the current ones where those are gone.
available_packages() {
    local pin name pinned versions
    local -a pins
    mapfile -t pins < <(grep -v '^#' "$here/wine-arm64.pins")
    versions=$(private_apt_cache madison "${pins[@]%%=*}" | awk '{print $1 "=" $3}')
    for pin in "${pins[@]}"; do
        if ! grep -qxF "$pin" <<<"$versions"; then
            name=${pin%%=*}
            pinned=$pin
            pin=$(grep -m 1 "^$name=" <<<"$versions")
            printf 'set-up note: %s is gone from the mirror; taking %s instead\n' "$pinned" "$pin" >&2
            printf '%s\n' "$pin" >>"$part/replaced-versions"
        fi
        printf '%s\n' "$pin"
    done
}

fetch_packages() {
    local -a packages=()
    open_private_apt "$part/apt" arm64 deb
    available_packages >"$part/apt/packages"
    mapfile -t packages <"$part/apt/packages"
    mkdir "$part/packages"
    (cd "$part/packages" && private_apt download "${packages[@]}")
    rm -r "$part/apt"
}

# A running system's links for merged folders come from a package that holds nothing else of use here.
unpack_packages() {
    local package
    mkdir -p "$part"/root/usr/{bin,lib,sbin}
    ln -s usr/bin usr/lib usr/sbin "$part/root"
    for package in "$part"/packages/*.deb; do
        dpkg-deb --fsys-tarfile "$package" | tar --extract --directory "$part/root" --keep-directory-symlink \
            --exclude='./usr/share/doc/*' --exclude='./usr/share/man/*' --exclude='./usr/share/locale/*' \
            --exclude='./usr/lib/*/gconv/*' --exclude='./usr/share/lintian/*' --exclude='./etc/*'
    done
    rm -r "$part/packages"
    python3 "$here/mend_wine_arm64.py" "$part/root/usr/lib/aarch64-linux-gnu/wine/aarch64-unix/ntdll.so"
}

# Prints the libraries that the ARM64 file $1 needs.
needed_libraries() {
    /usr/lib/llvm-19/bin/llvm-readelf --needed-libs "$1" | sed -n 's/^  \([^ ]*\.so[^ ]*\)$/\1/p'
}

# What Wine must be able to load: itself, its display driver (a Wine that cannot starts one explorer after the other,
# without end), and what it opens by name for TLS and fonts. A package whose replacement needs more would show here.
check_libraries() {
    local libraries=$part/root/usr/lib/aarch64-linux-gnu library needed file
    local -a waiting=(
        "$libraries"/wine/aarch64-unix/{ntdll,win32u,winex11,ws2_32,bcrypt,secur32}.so
        "$libraries"/{libgnutls.so.30,libfreetype.so.6,libfontconfig.so.1}
    )
    local -A seen=()
    while ((${#waiting[@]} > 0)); do
        library=${waiting[0]}
        waiting=("${waiting[@]:1}")
        for needed in $(needed_libraries "$library"); do
            [[ -z ${seen[$needed]:-} ]] || continue
            seen[$needed]=yes
            file=$libraries/$needed
            [[ -e $file ]] || file=$libraries/wine/aarch64-unix/$needed
            if [[ ! -e $file ]]; then
                printf '%s needs %s, which none of the packages has\n' "$library" "$needed" >&2
                return 1
            fi
            waiting+=("$file")
        done
    done
}

make_arm64_prefixes() {
    export ZELTO_WINE_ARM64_DIR=$part
    source "$here/../run/arm64-enter.sh"
    check_libraries
    join_room
    set_room_command
    make_prefixes "$part" "$final" "${room_command[@]}" /usr/lib/wine/wine64 \
        -- "${room_command[@]}" /usr/lib/wine/wineserver64
    leave_room
    rm -r "$part/room"
}

part=$1
final=$2
if (($# == 3)); then
    "$3"
else
    step "Wine for ARM64: fetching its packages" "$0" "$part" "$final" fetch_packages
    step "Wine for ARM64: unpacking them" "$0" "$part" "$final" unpack_packages
    step "Wine for ARM64: preparing a prefix (about a minute)" "$0" "$part" "$final" make_arm64_prefixes
fi
