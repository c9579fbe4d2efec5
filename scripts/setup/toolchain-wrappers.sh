# shellcheck shell=bash
# The toolchain's commands, under the names that prebuilt toolchains of this kind use: Debian's clang and LLVM tools,
# told the target and where its runtime is. To be sourced.
# A wrapper finds the toolchain beside itself, so that the folder may be moved.

readonly llvm_bin=/usr/lib/llvm-19/bin

# Writes the command $1, which runs the words that follow ("$root" being the toolchain's folder).
# shellcheck disable=SC2016 # for the wrapper to expand
write_wrapper() {
    local file=$1
    shift
    printf '#!/bin/sh\nroot=${0%%/*}/..\nexec %s "$@"\n' "$*" >"$file"
    chmod +x "$file"
}

# Writes the commands of target $2 (which dlltool calls $3) into the toolchain $1.
# shellcheck disable=SC2016 # "$root" is for the wrappers to expand
write_target_wrappers() {
    local bin=$1/bin target=$2 machine=$3 tool
    local -a compiler_flags=(
        --target="${target%-mingw32}-windows-gnu" '--sysroot="$root/'"$target"'"' '-resource-dir="$root/lib/clang/19"'
        --start-no-unused-arguments -rtlib=compiler-rt -unwindlib=libunwind -stdlib=libc++ -fuse-ld=lld
        --end-no-unused-arguments
    )
    write_wrapper "$bin/$target-clang" "$llvm_bin/clang" "${compiler_flags[@]}"
    write_wrapper "$bin/$target-clang++" "$llvm_bin/clang++" "${compiler_flags[@]}"
    for tool in ar ranlib strip objcopy objdump nm size readobj; do
        write_wrapper "$bin/$target-$tool" "$llvm_bin/llvm-$tool"
    done
    write_wrapper "$bin/$target-dlltool" "$llvm_bin/llvm-dlltool -m $machine"
    # llvm-windres looks for its preprocessor under names that Debian doesn't use.
    write_wrapper "$bin/$target-windres" "$llvm_bin/llvm-windres --target=$target" \
        '--preprocessor="$root/bin/'"$target"'-clang"' \
        '--preprocessor-arg=-E --preprocessor-arg=-xc --preprocessor-arg=-DRC_INVOKED=1'
}

# Writes the commands of both targets into the toolchain $1.
write_wrappers() {
    mkdir -p "$1/bin" "$1/lib/clang/19"
    # The compiler's own headers serve every target.
    ln -sfn /usr/lib/llvm-19/lib/clang/19/include "$1/lib/clang/19/include"
    write_target_wrappers "$1" x86_64-w64-mingw32 i386:x86-64
    write_target_wrappers "$1" aarch64-w64-mingw32 arm64
}
