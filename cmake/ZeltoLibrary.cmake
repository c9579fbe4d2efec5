# The DLL itself: the objects of all folders, the export list and the resources. Import library and PDB lie beside it.

get_property(libraries GLOBAL PROPERTY ZELTO_LIBRARIES)
add_library(ZeltoAuth SHARED auth/ZeltoAuth.def resources/zelto_auth.rc)
# What the resource script takes in; nothing else tells the build to compile it again when a page is changed.
file(GLOB resource_inputs CONFIGURE_DEPENDS
    "${CMAKE_SOURCE_DIR}/resources/*.html" "${CMAKE_SOURCE_DIR}/resources/*.manifest"
    "${CMAKE_SOURCE_DIR}/resources/*.h")
set_source_files_properties(resources/zelto_auth.rc PROPERTIES OBJECT_DEPENDS "${resource_inputs}")
foreach(library ${libraries})
    target_sources(ZeltoAuth PRIVATE $<TARGET_OBJECTS:zelto_${library}_objects>)
endforeach()
target_link_libraries(ZeltoAuth PRIVATE zelto_compiler
    ZeltoSession msi winhttp wininet ws2_32 shell32 advapi32 bcrypt crypt32 dbghelp)
set_target_properties(ZeltoAuth PROPERTIES
    PREFIX ""
    IMPORT_PREFIX ""
    LINKER_LANGUAGE CXX
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin"
    ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
if(NOT MSVC)
    target_link_options(ZeltoAuth PRIVATE "-Wl,--pdb=${CMAKE_BINARY_DIR}/bin/ZeltoAuth.pdb"
        "-Wl,-Map=${CMAKE_BINARY_DIR}/ZeltoAuth.map") # what takes the space
endif()
