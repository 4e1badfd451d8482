# The MAPI declarations are the toolchain's (public domain, package mingw-w64-common). On Linux just these six
# headers are copied into a folder of their own, so that none of the toolchain's other headers is seen.
if(NOT WIN32)
    set(MINGW_W64_INCLUDE /usr/share/mingw-w64/include CACHE PATH "Where mapix.h and its siblings are")
    set(MAPI_INCLUDE_DIR ${PROJECT_BINARY_DIR}/mapi-include)
    foreach(header mapix mapidefs mapiutil mapitags mapiguid mapicode)
        if(NOT EXISTS ${MINGW_W64_INCLUDE}/${header}.h)
            message(FATAL_ERROR "${MINGW_W64_INCLUDE}/${header}.h is missing: run scripts/setup (package mingw-w64-common)")
        endif()
        configure_file(${MINGW_W64_INCLUDE}/${header}.h ${MAPI_INCLUDE_DIR}/${header}.h COPYONLY)
    endforeach()
endif()

# An import library from a .def in which every name is written as the DLL exports it: -k drops the stdcall
# suffix of a plain name, and a name written twice (symbol == "name") keeps it.
function(mapi32_import_library target def)
    set(library ${CMAKE_CURRENT_BINARY_DIR}/lib${target}.a)
    add_custom_command(OUTPUT ${library}
        COMMAND ${CMAKE_DLLTOOL} -k -d ${def} -l ${library}
        DEPENDS ${def} VERBATIM)
    add_custom_target(${target}_file DEPENDS ${library})
    add_library(${target} STATIC IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES IMPORTED_LOCATION ${library})
    add_dependencies(${target} ${target}_file)
endfunction()
