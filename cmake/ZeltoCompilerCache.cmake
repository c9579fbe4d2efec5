# What has been compiled before is taken from ccache, where it is installed: in set-up's cache folder, so that fresh clones
# and other checkouts find it, too.

find_program(ZELTO_CCACHE ccache NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(ZELTO_CCACHE)
if(ZELTO_CCACHE AND NOT MSVC)
    set(settings
        "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}"
        "CCACHE_COMPILERCHECK=%compiler% --version"
        CCACHE_DEPEND=1 # the headers are those that the compiler lists
        "CCACHE_SLOPPINESS=pch_defines,time_macros") # needed for precompiled headers; no code asks for the time
    if(CMAKE_CROSSCOMPILING)
        list(APPEND settings "CCACHE_EXTRAFILES=${CMAKE_C_COMPILER}:${CMAKE_CXX_COMPILER}") # what those scripts say
    endif()
    if(DEFINED ENV{ZELTO_CACHE_DIR})
        list(APPEND settings "CCACHE_DIR=$ENV{ZELTO_CACHE_DIR}/ccache")
    endif()
    foreach(language C CXX)
        set(CMAKE_${language}_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env ${settings} "${ZELTO_CCACHE}")
    endforeach()
    # A precompiled header is found again by its content.
    add_compile_options("$<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endif()
