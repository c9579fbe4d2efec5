#!/usr/bin/env bash
# Shows the sign-ins from end to end: scripts/demo.sh [x64|arm64] [FOLDER]
#
# Sets up what is missing and builds; then a host program under Wine signs in at a simulated gateway through the real
# DLL, with Chromium as the user's browser, on each road in turn: for an SSL-VPN tunnel, for an IPsec tunnel, and with
# the browser in the user's session. Last come the sign-ins through the auth module, with keys pressed in its dialogs.
# Each ends with what the gateway issued and what the caller got, side by side, and leaves screenshots and logs in a
# folder of its own in FOLDER (build/demo/x64 or build/demo/arm64 when it is not given).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
usage='usage: scripts/demo.sh [x64|arm64] [FOLDER]'
arch="${1:-x64}"
case "$arch" in
x64 | arm64) ;;
-h | --help)
    printf '%s\n' "$usage"
    exit 0
    ;;
*)
    printf 'scripts/demo.sh: there is no %s; %s\n' "$arch" "$usage" >&2
    exit 2
    ;;
esac
if [ $# -gt 2 ]; then
    printf '%s\n' "$usage" >&2
    exit 2
fi
mkdir -p "${2:-$root/build/demo/$arch}"
folder="$(cd "${2:-$root/build/demo/$arch}" && pwd)"
cd "$root"

started="$(date +%s.%N)"

# One line of progress, with the seconds since the start.
say() {
    printf '[%5.1f s] %-8s %s\n' "$(echo "$(date +%s.%N) $started" | awk '{ print $1 - $2 }')" "$1" "$2"
}

fail() {
    printf 'scripts/demo.sh: failed: %s\n' "$1" >&2
    exit 1
}

scripts/setup.sh "$arch" demo || fail "the set-up (see above)"
# shellcheck source=scripts/setup/env.sh
source scripts/setup/env.sh
say set-up "everything that is needed is there"

build_log="$folder/build.log"
say build "building the DLL, the auth module and the host program"
if ! { scripts/configure.sh "$arch" && cmake --build --preset "$arch" -j "$(nproc)" --target ZeltoAuth ZeltoSession \
        ZeltoAuthModule ZeltoSignIn; } \
    >"$build_log" 2>&1; then
    tail -n 30 "$build_log" >&2
    fail "the build; the whole output is in $build_log"
fi
say build "build/$arch/bin/ZeltoAuth.dll, ZeltoAuth.exe and ZeltoSignIn.exe"

for road in ssl ipsec session; do
    printf '\n'
    say road "$road"
    mkdir -p "$folder/$road"
    /usr/bin/python3 -B scripts/demo/sign_in.py --started "$started" --road "$road" --folder "$folder/$road" \
        --program "build/$arch/bin/ZeltoSignIn.exe" --runner "scripts/run/$arch.sh"
done

printf '\n'
say road "the auth module: SAML, user name and password, second factor"
mkdir -p "$folder/module"
/usr/bin/python3 -B scripts/demo/auth_module.py --started "$started" --folder "$folder/module" \
    --program "build/$arch/bin/ZeltoSignIn.exe" --runner "scripts/run/$arch.sh"
