#!/usr/bin/env bash
# Passes all tests: scripts/test.sh [lint|native|x64|arm64 …]; without a name, all of them.
#
# Sets up what is missing (scripts/setup.sh), builds, runs, and ends with a line of totals over everything that ran. A
# stage that cannot run fails; a skipped or disabled test fails, too.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"

all_stages=(lint native x64 arm64)
stages=("$@")
[ ${#stages[@]} -gt 0 ] || stages=("${all_stages[@]}")
for stage in "${stages[@]}"; do
    case " ${all_stages[*]} " in
    *" $stage "*) ;;
    *)
        printf 'scripts/test.sh: no stage named %s; there are: %s\n' "$stage" "${all_stages[*]}" >&2
        exit 2
        ;;
    esac
done

results="$root/build/test-results"
rm -rf "$results"
mkdir -p "$results"

started=$SECONDS
say() { printf '[%3d s] %s\n' "$((SECONDS - started))" "$*"; }

# Runs a command whose output only matters when it fails.
quietly() {
    local log="$results/$1.log"
    shift
    if ! "$@" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        printf 'scripts/test.sh: %s failed; the whole output is in %s\n' "$*" "$log" >&2
        return 1
    fi
}

run_lint() {
    say "lint: formatting, static analysis, shell scripts"
    scripts/test/lint.sh
}

build_stage() {
    say "$1: building"
    quietly "configure-$1" scripts/configure.sh "$1" &&
        quietly "build-$1" cmake --build --preset "$1" -j "$(nproc)"
}

# A Wine prefix of this run's own: nobody else's programs, names or log files are in it.
make_prefix() {
    if [ -e "$2/system.reg" ]; then
        scripts/run/end-prefix.sh "$1" "$2"
    fi
    rm -rf "$2"
    scripts/run/new-prefix.sh "$1" "$2"
}

run_tests() {
    rm -rf "build/$1/results"
    mkdir -p "build/$1/results"
    ctest --preset "$1" -j "$2" --no-tests=error --test-output-size-passed 1000000 --output-junit "$results/$1.xml"
}

run_native() {
    build_stage native || return 1
    say "native: testing"
    run_tests native "$(nproc)"
}

# A stage's tests under Wine, in a prefix of its own.
run_under_wine() {
    local preset="$1" prefix="$root/build/$1/prefix" status=0
    quietly "prefix-$preset" make_prefix "$preset" "$prefix" || return 1
    # More at once than there are processors: most tests wait more than they compute.
    ZELTO_WINEPREFIX="$prefix" run_tests "$preset" "$(($(nproc) + 1))" || status=$?
    scripts/run/end-prefix.sh "$preset" "$prefix"
    return "$status"
}

# The stages that run under Wine: built one after the other, tested side by side.
run_windows() {
    local stage
    local -A running=()
    for stage in "$@"; do
        build_stage "$stage" || failed_stages+=("$stage")
    done
    say "testing: $*"
    for stage in "$@"; do
        case " ${failed_stages[*]} " in
        *" $stage "*) ;;
        *)
            run_under_wine "$stage" > >(sed -u "s/^/$stage: /") 2>&1 &
            running[$stage]=$!
            ;;
        esac
    done
    for stage in "${!running[@]}"; do
        wait "${running[$stage]}" || failed_stages+=("$stage")
    done
}

# Static analysis reads the x64 build's commands; the sign-in tests on Windows use the demo's browser.
purposes=("${stages[@]}")
for stage in "${stages[@]}"; do
    case "$stage" in
    lint) purposes+=(x64) ;;
    x64 | arm64) purposes+=(demo) ;;
    esac
done
scripts/setup.sh "${purposes[@]}"
# shellcheck source=scripts/setup/env.sh
source scripts/setup/env.sh

failed_stages=()
windows_stages=()
for stage in "${stages[@]}"; do
    case "$stage" in
    lint) run_lint || failed_stages+=(lint) ;;
    native) run_native || failed_stages+=(native) ;;
    *) windows_stages+=("$stage") ;;
    esac
done
if ((${#windows_stages[@]} > 0)); then
    run_windows "${windows_stages[@]}"
fi

say "done"
/usr/bin/python3 scripts/test/totals.py --failed-stages "${failed_stages[*]}" "${stages[@]}"
