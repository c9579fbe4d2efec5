#!/usr/bin/env bash
# Builds the runtime of one target: toolchain-target.sh ARCHITECTURE SOURCES TOOLCHAIN, the architecture as in a triple.
# The wrappers must be in the toolchain's bin folder already; each stage uses what the stages before it have installed.
set -euo pipefail

architecture=$1
sources=$2
toolchain=$3
target=$architecture-w64-mingw32
sysroot=$toolchain/$target
build=$sources/build-$architecture
llvm_bin=/usr/lib/llvm-19/bin
jobs=$(nproc)

# Every function a section of its own, as the linker only drops whole sections that nothing uses; and no folder of this
# machine in what is built.
flags="-ffunction-sections -fdata-sections -ffile-prefix-map=$toolchain=/toolchain"

# Nothing but Debian's own tools: a newer cmake or another python on the caller's PATH would make a different build.
export PATH=$toolchain/bin:/usr/bin:/bin

install_headers() {
    mkdir -p "$build/headers"
    cd "$build/headers"
    "$sources/mingw/mingw-w64-headers/configure" --host="$target" --prefix="$sysroot" --enable-idl \
        --with-default-msvcrt=ucrt --with-default-win32-winnt=0x0A00
    make install
}

install_c_runtime() {
    local -a libraries=(--disable-lib32 --disable-libarm32)
    case $architecture in
        x86_64) libraries+=(--enable-lib64 --disable-libarm64) ;;
        aarch64) libraries+=(--disable-lib64 --enable-libarm64) ;;
    esac
    mkdir -p "$build/crt"
    cd "$build/crt"
    "$sources/mingw/mingw-w64-crt/configure" --host="$target" --prefix="$sysroot" "${libraries[@]}" \
        --with-default-msvcrt=ucrt --enable-cfguard CC="$target-clang" \
        CFLAGS="-O2 $flags" CXXFLAGS="-O2 $flags" \
        AS="$target-clang -c" AR="$target-ar" RANLIB="$target-ranlib" DLLTOOL="$target-dlltool"
    make -j"$jobs"
    make install
}

# Configures source folder $1 in build folder $2 for prefix $3 with the further options, builds and installs it.
install_with_cmake() {
    local source=$1 folder=$2 prefix=$3
    shift 3
    # The compiler can't link a program before these very libraries are there, hence the two WORKS.
    cmake -G Ninja -S "$source" -B "$build/$folder" -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SYSTEM_PROCESSOR="$architecture" \
        -DCMAKE_C_COMPILER="$toolchain/bin/$target-clang" -DCMAKE_C_COMPILER_WORKS=1 \
        -DCMAKE_CXX_COMPILER="$toolchain/bin/$target-clang++" -DCMAKE_CXX_COMPILER_WORKS=1 \
        -DCMAKE_C_COMPILER_TARGET="$architecture-w64-windows-gnu" \
        -DCMAKE_CXX_COMPILER_TARGET="$architecture-w64-windows-gnu" \
        -DCMAKE_AR="$llvm_bin/llvm-ar" -DCMAKE_RANLIB="$llvm_bin/llvm-ranlib" \
        -DCMAKE_C_FLAGS_INIT="-mguard=cf $flags" -DCMAKE_CXX_FLAGS_INIT="-mguard=cf $flags" \
        -DPython3_EXECUTABLE=/usr/bin/python3 "$@"
    ninja -C "$build/$folder" -j"$jobs" install
}

install_builtins() {
    install_with_cmake "$sources/llvm/compiler-rt/lib/builtins" builtins "$toolchain/lib/clang/19" \
        -DCOMPILER_RT_DEFAULT_TARGET_ONLY=ON -DCOMPILER_RT_USE_BUILTINS_LIBRARY=ON \
        -DCOMPILER_RT_BUILD_BUILTINS=ON -DCOMPILER_RT_EXCLUDE_ATOMIC_BUILTIN=OFF -DLLVM_CONFIG_PATH= \
        -DLLVM_CMAKE_DIR="$sources/llvm/llvm/cmake/modules"
}

# Static only: the products carry their runtime in themselves. So the handler of an exception that nobody catches names
# its type as the compiler does: taking that name apart would be more than a third of the library.
install_cxx_runtime() {
    install_with_cmake "$sources/llvm/runtimes" runtimes "$sysroot" -DLLVM_PATH="$sources/llvm/llvm" \
        -DLLVM_ENABLE_RUNTIMES="libunwind;libcxxabi;libcxx" -DLLVM_INCLUDE_TESTS=OFF \
        -DLIBUNWIND_USE_COMPILER_RT=ON -DLIBUNWIND_ENABLE_SHARED=OFF -DLIBUNWIND_INCLUDE_TESTS=OFF \
        -DLIBCXXABI_USE_COMPILER_RT=ON -DLIBCXXABI_USE_LLVM_UNWINDER=ON -DLIBCXXABI_ENABLE_SHARED=OFF \
        -DLIBCXXABI_INCLUDE_TESTS=OFF -DLIBCXXABI_NON_DEMANGLING_TERMINATE=ON \
        -DLIBCXX_USE_COMPILER_RT=ON -DLIBCXX_ENABLE_SHARED=OFF -DLIBCXX_ENABLE_STATIC_ABI_LIBRARY=ON \
        -DLIBCXX_CXX_ABI=libcxxabi -DLIBCXX_INCLUDE_TESTS=OFF -DLIBCXX_INCLUDE_BENCHMARKS=OFF \
        -DLIBCXX_INSTALL_MODULES=OFF -DLIBCXX_ENABLE_ABI_LINKER_SCRIPT=OFF
}

install_headers
install_c_runtime
install_builtins
install_cxx_runtime
