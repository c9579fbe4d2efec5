# Compiler and linker settings of everything that is ours: warnings are errors, hardening is on, and the platform's own
# compiler is served beside clang.

# What is built does not tell where: two checkouts give the same bytes.
if(NOT MSVC)
    foreach(folder "${CMAKE_SOURCE_DIR}=." "${ZELTO_TOOLCHAIN_DIR}=/toolchain")
        if(NOT folder MATCHES "^=")
            add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${folder}>")
        endif()
    endforeach()
endif()

add_library(zelto_compiler INTERFACE)
target_include_directories(zelto_compiler INTERFACE "${CMAKE_SOURCE_DIR}" "${CMAKE_SOURCE_DIR}/include")

if(MSVC)
    target_compile_options(zelto_compiler INTERFACE /W4 /WX /utf-8 /permissive- /guard:cf)
    target_link_options(zelto_compiler INTERFACE /guard:cf /HIGHENTROPYVA /DYNAMICBASE /NXCOMPAT)
else()
    target_compile_options(zelto_compiler INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wundef -Wvla
        -Wimplicit-fallthrough -Wnon-virtual-dtor -Werror)
    # The record call is printf-like but has a formatter of its own: the compiler's format check does not apply to it.
    target_compile_options(zelto_compiler INTERFACE "$<$<COMPILE_LANGUAGE:C>:-Wno-old-style-cast>")
endif()

if(WIN32)
    target_compile_definitions(zelto_compiler INTERFACE
        WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000000)
    if(NOT MSVC)
        # Deterministic code sections, control-flow guard, and a C++ runtime that is linked in.
        target_compile_options(zelto_compiler INTERFACE
            $<$<COMPILE_LANGUAGE:C,CXX>:-gcodeview> $<$<COMPILE_LANGUAGE:C,CXX>:-mguard=cf>
            $<$<COMPILE_LANGUAGE:C,CXX>:-ffunction-sections> $<$<COMPILE_LANGUAGE:C,CXX>:-fdata-sections>)
        target_link_options(zelto_compiler INTERFACE
            -static -mguard=cf -Wl,--gc-sections -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)
    endif()
else()
    target_compile_options(zelto_compiler INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
    target_link_options(zelto_compiler INTERFACE -fsanitize=address,undefined)
endif()
