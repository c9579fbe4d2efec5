# The DLL itself: the objects of all folders, the export list and the resources. Import library and PDB lie beside it.

get_property(libraries GLOBAL PROPERTY ZELTO_LIBRARIES)
add_library(ZeltoAuth SHARED resources/zelto_auth.rc)
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
set(exports "${CMAKE_SOURCE_DIR}/auth/ZeltoAuth.def")
if(MSVC)
    target_sources(ZeltoAuth PRIVATE "${exports}")
else()
    # Files are named as seen from the build folder, and the time is a hash: two checkouts give the same DLL and PDB.
    file(RELATIVE_PATH exports_seen_from_here "${CMAKE_BINARY_DIR}" "${exports}")
    target_link_options(ZeltoAuth PRIVATE "${exports_seen_from_here}" -Wl,--pdb=bin/ZeltoAuth.pdb
        -Wl,-Xlink=-pdbaltpath:ZeltoAuth.pdb -Wl,-Xlink=-pdbsourcepath:. -Wl,-Xlink=-brepro
        -Wl,-Map=ZeltoAuth.map) # what takes the space
    set_target_properties(ZeltoAuth PROPERTIES LINK_DEPENDS "${exports}")
endif()
