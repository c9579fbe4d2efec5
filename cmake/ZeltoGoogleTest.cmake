# GoogleTest from the sources that the distribution installs, built for the target at hand.

find_path(ZELTO_GOOGLETEST_SOURCE NAMES googletest/CMakeLists.txt PATHS /usr/src/googletest NO_DEFAULT_PATH
    NO_CMAKE_FIND_ROOT_PATH)
if(NOT ZELTO_GOOGLETEST_SOURCE)
    message(FATAL_ERROR "The googletest sources are missing: run scripts/setup.sh")
endif()

set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
add_subdirectory("${ZELTO_GOOGLETEST_SOURCE}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
foreach(target gtest gmock gtest_main gmock_main)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS ON)
    if(WIN32)
        target_link_options(${target} INTERFACE -static)
    else()
        target_compile_options(${target} PRIVATE -fsanitize=address,undefined)
    endif()
endforeach()

# The headers that every test program includes take most of the time that compiling one takes: they are read once.
add_library(zelto_test_headers STATIC "${CMAKE_SOURCE_DIR}/tests/support/precompiled.cpp")
target_link_libraries(zelto_test_headers PUBLIC zelto_compiler gtest gmock)
set(headers <gtest/gtest.h> <string> <string_view> <vector>)
if(WIN32)
    list(PREPEND headers <winsock2.h> <windows.h>) # in this order
endif()
target_precompile_headers(zelto_test_headers PRIVATE ${headers})

# Test code is compiled much more often than it runs. (Options of the precompiled headers and of their users must agree.)
set(ZELTO_TEST_OPTIONS)
if(WIN32 AND NOT MSVC)
    set(ZELTO_TEST_OPTIONS -O0 -g0)
endif()
target_compile_options(zelto_test_headers PRIVATE ${ZELTO_TEST_OPTIONS})

if(WIN32)
    add_library(zelto_crash_exit OBJECT "${CMAKE_SOURCE_DIR}/tests/support/crash_exit.cpp")
    target_link_libraries(zelto_crash_exit PUBLIC zelto_compiler)
endif()
