# shellcheck shell=bash
# Versions of what set-up takes from Debian's archive by itself; sourced by the recipes that need them and part of their
# keys. All of it comes from one suite, whatever Debian the machine runs, so that every machine builds the same binaries
# (and because older suites have a mingw-w64 without control-flow guard, and an ARM64 Wine that cannot run programs).
# A version that the mirror no longer has is replaced by the suite's current one, with a line that says so.
# shellcheck disable=SC2034

readonly pinned_suite=trixie
readonly pinned_mingw=12.0.0-5
readonly pinned_llvm=1:19.1.7-3
