# Cross-compiling for Windows with clang, whatever the target: the part that x64-windows.cmake and arm64-windows.cmake
# share. They set zelto_target, the prefix of the tools' names, and zelto_runner, the script that runs what was built.
#
# The tools are those of ZELTO_TOOLCHAIN_DIR when that is set, else those that scripts/setup.sh has put into its cache,
# else those on the PATH: an installed toolchain that uses the same names serves as well.

set(CMAKE_SYSTEM_NAME Windows)
set(zelto_source_dir "${CMAKE_CURRENT_LIST_DIR}/..")

# CMake reads this file again for every check it makes with the compiler; these runs are told the folder.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZELTO_TOOLCHAIN_DIR)

if(NOT DEFINED ZELTO_TOOLCHAIN_DIR)
    set(ZELTO_TOOLCHAIN_DIR "$ENV{ZELTO_TOOLCHAIN_DIR}")
    if(NOT ZELTO_TOOLCHAIN_DIR)
        execute_process(
            COMMAND bash -c "source scripts/setup/env.sh && printf %s \"$ZELTO_TOOLCHAIN_DIR\""
            WORKING_DIRECTORY "${zelto_source_dir}"
            OUTPUT_VARIABLE ZELTO_TOOLCHAIN_DIR
            ERROR_QUIET)
    endif()
endif()

if(DEFINED CACHE{CMAKE_CXX_COMPILER} AND IS_DIRECTORY "${ZELTO_TOOLCHAIN_DIR}")
    string(FIND "$CACHE{CMAKE_CXX_COMPILER}" "${ZELTO_TOOLCHAIN_DIR}/" zelto_place)
    if(NOT zelto_place EQUAL 0)
        message(FATAL_ERROR "This folder was configured with another toolchain: configure it with --fresh")
    endif()
endif()

function(zelto_find_tool variable name)
    find_program(${variable} "${zelto_target}-${name}" HINTS "${ZELTO_TOOLCHAIN_DIR}/bin" NO_CMAKE_FIND_ROOT_PATH)
    if(NOT ${variable})
        message(FATAL_ERROR "${zelto_target}-${name} is neither in set-up's cache nor on the PATH: "
            "run scripts/setup.sh")
    endif()
endfunction()

zelto_find_tool(CMAKE_C_COMPILER clang)
zelto_find_tool(CMAKE_CXX_COMPILER clang++)
zelto_find_tool(CMAKE_RC_COMPILER windres)
zelto_find_tool(CMAKE_AR ar)
zelto_find_tool(CMAKE_RANLIB ranlib)

# Only what belongs to the target is looked for in its folders, and only there; programs are this machine's.
set(CMAKE_FIND_ROOT_PATH "${ZELTO_TOOLCHAIN_DIR}/${zelto_target}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

get_filename_component(CMAKE_CROSSCOMPILING_EMULATOR "${zelto_source_dir}/${zelto_runner}" ABSOLUTE)
