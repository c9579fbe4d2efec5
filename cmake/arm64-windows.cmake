# For Windows on ARM64; built programs run under the ARM64 build of Wine, itself run by qemu on an x86-64 machine.
set(CMAKE_SYSTEM_PROCESSOR ARM64)
set(zelto_target aarch64-w64-mingw32)
set(zelto_runner scripts/run/arm64.sh)
include("${CMAKE_CURRENT_LIST_DIR}/windows-clang.cmake")
