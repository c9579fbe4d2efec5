#!/usr/bin/env bash
# Measures the library: scripts/bench.sh [--rounds N] [--size FACTOR] [CONTEST …]
#
# Builds the benchmark for x64 and prints the sizes of both DLLs, instructions per record, and the contests that it runs
# under Wine, all of them unless some are named. docs/performance.md explains the figures.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh x64 arm64 bench
source scripts/setup/env.sh
work=build/bench
mkdir -p "$work"

# Builds targets of preset $1, with the benchmark when $2 is ON; the output only matters when that fails.
build() {
    local preset=$1 bench=$2
    shift 2
    if ! { scripts/configure.sh "$preset" -DZELTO_BENCH="$bench" && cmake --build --preset "$preset" --target "$@"; } \
        >"$work/build-$preset.log" 2>&1; then
        tail -n 40 "$work/build-$preset.log" >&2
        exit 1
    fi
}

print_sizes() {
    local preset
    for preset in x64 arm64; do
        llvm-strip-19 --strip-all -o "$work/$preset.dll" "build/$preset/bin/ZeltoAuth.dll"
        /usr/bin/python3 scripts/bench/sizes.py "ZeltoAuth.dll for $preset" "$work/$preset.dll" \
            "build/$preset/ZeltoAuth.map"
    done
}

# Prints how many instructions the program has taken for case $1, $2 times.
instructions() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$work/instructions" "$1" "$2" 2>&1 |
        sed -n 's/^.*Collected *: *//p'
}

# By two runs of different length, which leaves out what a start takes.
print_instructions() {
    local name few many
    clang++-19 -std=c++20 -O2 -DNDEBUG -I. bench/instructions.cpp trace/bounded_text.cpp trace/formatter.cpp \
        trace/record.cpp trace/time_block.cpp trace/wide_text.cpp -o "$work/instructions"
    printf '\ninstructions per record, of the natively built code\n'
    for name in constant typical numbers wide head; do
        few=$(instructions "$name" 1000)
        many=$(instructions "$name" 3000)
        printf '  %-26s %14d\n' "$name" $(((many - few) / 2000))
    done
}

build x64 ON zelto_bench
build arm64 OFF ZeltoAuth
if (($# == 0)) || [[ $1 == --* ]]; then
    print_sizes
    print_instructions
fi
scripts/run/x64.sh build/x64/tests/zelto_bench.exe "$@"
