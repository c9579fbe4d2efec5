#!/usr/bin/env bash
# Sets up what building, testing and the demo need: scripts/setup.sh [all|lint|native|x64|arm64|demo|bench …]
#
# Installs Debian packages (as root, or through sudo), builds the cross toolchain and prepares Wine. What is there
# already is left alone, so that this may be run at any time. docs/set-up.md tells more.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup/steps.sh
source scripts/setup/packages.sh
source scripts/setup/component.sh

readonly all_purposes=(lint native x64 arm64 demo bench)

usage() {
    printf 'scripts/setup.sh: nothing is named %s; there are: all %s\n' "$1" "${all_purposes[*]}" >&2
    exit 2
}

# Debian's names are what set-up knows; and Wine doesn't emulate another processor.
check_machine() {
    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        printf 'set-up: this is no Debian; set-up needs Debian 12 or 13\n' >&2
        exit 1
    fi
    machine=$(uname -m)
    case $machine in
        x86_64) ;;
        aarch64) say "x64 programs cannot run on this machine; they can be built, and ARM64 ones run" ;;
        *)
            printf 'set-up: Windows programs cannot run on this machine (%s)\n' "$machine" >&2
            exit 1
            ;;
    esac
}

# Prints the packages that the purposes in the arguments need.
packages_for() {
    local purpose
    printf '%s\n' "${packages_base[@]}" "${packages_build[@]}"
    for purpose in "$@"; do
        case $purpose in
            lint) printf '%s\n' "${packages_lint[@]}" ;;
            x64)
                printf '%s\n' "${packages_installer[@]}" "${packages_debugger[@]}"
                [[ $machine == aarch64 ]] || printf '%s\n' "${packages_x64[@]}"
                ;;
            arm64)
                printf '%s\n' "${packages_installer[@]}" "${packages_debugger[@]}"
                [[ $machine == aarch64 ]] || printf '%s\n' "${packages_arm64[@]}"
                ;;
            demo) printf '%s\n' "${packages_demo[@]}" "${packages_desktop[@]}" ;;
            bench) printf '%s\n' "${packages_bench[@]}" ;;
        esac
    done
}

# Prints those of the packages in the arguments that are not installed.
missing_packages() {
    comm -23 <(printf '%s\n' "$@" | sort -u) \
        <(dpkg-query --showformat='${db:Status-Abbrev} ${Package}\n' --show | sed -n 's/^ii  *//p' | sort -u)
}

# Installing needs root: says so before anything is tried, and how to get on without.
require_root_for() {
    ((EUID == 0)) && return
    if ! command -v sudo >/dev/null; then
        printf 'set-up: packages are missing, and neither are you root nor is there sudo. As root, run:\n' >&2
    elif ! sudo --validate; then
        printf 'set-up: packages are missing, and sudo refuses. As root, run:\n' >&2
    else
        return 0
    fi
    printf '    apt-get update && apt-get install --no-install-recommends %s\n' "$*" >&2
    exit 1
}

install_missing_packages() {
    local -a missing
    mapfile -t missing < <(missing_packages "$@")
    if ((${#missing[@]} > 0)); then
        open_log "$ZELTO_CACHE_DIR/logs"
        require_root_for "${missing[@]}"
        step "installing ${#missing[@]} Debian packages" scripts/setup/install-packages.sh "${missing[@]}"
    fi
}

# Whether one of the purposes (the arguments after the first) is $1.
wanted() {
    local purpose
    for purpose in "${@:2}"; do
        [[ $purpose == "$1" ]] && return
    done
    return 1
}

make_components() {
    if wanted x64 "$@" || wanted arm64 "$@"; then
        ensure_component toolchain scripts/setup/toolchain.sh
    fi
    if wanted x64 "$@" && [[ $machine == x86_64 ]]; then
        ensure_component wine-x64 scripts/setup/wine-x64.sh
    fi
    if wanted arm64 "$@"; then
        ensure_component wine-arm64 scripts/setup/wine-arm64.sh
    fi
}

purposes=("$@")
for purpose in "${purposes[@]}"; do
    [[ $purpose == all ]] || wanted "$purpose" "${all_purposes[@]}" || usage "$purpose"
done
if ((${#purposes[@]} == 0)) || wanted all "${purposes[@]}"; then
    purposes=("${all_purposes[@]}")
fi

check_machine
mapfile -t packages < <(packages_for "${purposes[@]}")
install_missing_packages "${packages[@]}"
make_components "${purposes[@]}"
