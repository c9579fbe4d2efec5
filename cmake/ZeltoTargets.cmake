# The three kinds of target that the folders declare.
#
# zelto_library(NAME PURE … WINDOWS … LINKS … SYSTEM …)
#     One folder's code, compiled once: zelto_NAME_objects for the DLL, zelto_NAME for the tests. PURE files include no
#     Windows header and are built natively as well; WINDOWS files exist for Windows only. LINKS names other zelto_*
#     libraries, SYSTEM the import libraries of Windows.
#
# zelto_test(NAME SOURCES … LINKS … [NATIVE] [GATEWAY] [LOCK name] [TIMEOUT seconds])
#     A GoogleTest program and one CTest test. NATIVE: built and run natively, too. GATEWAY: runs beside a simulated
#     gateway. LOCK: never beside another test with the same lock.

function(zelto_library name)
    cmake_parse_arguments(ARG "" "" "PURE;WINDOWS;LINKS;SYSTEM" ${ARGN})
    set(sources ${ARG_PURE})
    if(WIN32)
        list(APPEND sources ${ARG_WINDOWS})
    endif()
    if(NOT sources)
        add_library(zelto_${name} INTERFACE)
        return()
    endif()

    add_library(zelto_${name}_objects OBJECT ${sources})
    target_link_libraries(zelto_${name}_objects PUBLIC zelto_compiler)
    add_library(zelto_${name} STATIC)
    target_link_libraries(zelto_${name} PUBLIC zelto_${name}_objects zelto_compiler ${ARG_LINKS})
    if(WIN32)
        target_link_libraries(zelto_${name} PUBLIC ${ARG_SYSTEM})
    endif()
    set_property(GLOBAL APPEND PROPERTY ZELTO_LIBRARIES ${name})
endfunction()

function(zelto_test name)
    cmake_parse_arguments(ARG "NATIVE;GATEWAY" "LOCK;TIMEOUT" "SOURCES;LINKS" ${ARGN})
    if(NOT WIN32 AND NOT ARG_NATIVE)
        return()
    endif()

    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE zelto_compiler ${ARG_LINKS} gtest gmock gtest_main)
    target_compile_options(${name} PRIVATE ${ZELTO_TEST_OPTIONS})
    if(NOT "${ARG_SOURCES}" MATCHES "\\.c(;|$)") # they are headers of C++
        target_precompile_headers(${name} REUSE_FROM zelto_test_headers)
    endif()
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")

    # Some tests load the real DLL from ../bin: it is up to date whenever a test program is.
    if(WIN32)
        target_link_libraries(${name} PRIVATE zelto_crash_exit)
        add_dependencies(${name} ZeltoAuth ZeltoSession)
    endif()

    set(report "${CMAKE_BINARY_DIR}/results/${name}.xml")
    if(WIN32 AND CMAKE_CROSSCOMPILING)
        string(REPLACE "/" "\\" report "Z:${report}") # as Wine's programs see this machine's files
    endif()
    set(report "--gtest_output=xml:${report}")
    set(command ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${name}> ${report})
    if(ARG_GATEWAY)
        set(command /usr/bin/python3 "${CMAKE_SOURCE_DIR}/tests/support/with_gateway.py" -- ${command})
    endif()
    add_test(NAME ${name} COMMAND ${command})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 900) # for a hang; a busy machine may take its time
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT})
    if(ARG_LOCK)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK ${ARG_LOCK})
    endif()
endfunction()
