# For Windows on x64; built programs run under Wine.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(zelto_target x86_64-w64-mingw32)
set(zelto_runner scripts/run/x64.sh)
include("${CMAKE_CURRENT_LIST_DIR}/windows-clang.cmake")
