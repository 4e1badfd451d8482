# Run as a script after OrlMapi32.dll is linked: writes the .def beside it from which an import library can be made for any
# linker, with the names that hosts' objects ask for, and on x86 makes the toolchain's. There an object asks for "_OrlX@16"
# (stdcall); the linker's own import library, made from a list of plain names, would offer "_OrlX" only. How many bytes each
# export takes stands in the objects' symbols.
string(REPLACE "," ";" OBJECTS "${OBJECTS}")
execute_process(COMMAND ${NM} --defined-only ${OBJECTS} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
file(STRINGS ${DEF} lines REGEX "@[0-9]+")
set(exports "LIBRARY OrlMapi32.dll\nEXPORTS\n")
foreach(line IN LISTS lines)
    string(REGEX MATCH "([A-Za-z0-9_]+)[ \t]+@([0-9]+)" found "${line}")
    set(name ${CMAKE_MATCH_1})
    set(ordinal ${CMAKE_MATCH_2})
    if(WIDTH STREQUAL x86)
        if(NOT symbols MATCHES " T _${name}@([0-9]+)\n")
            message(FATAL_ERROR "${name} is exported but not defined as a stdcall function")
        endif()
        set(name ${name}@${CMAKE_MATCH_1})
    endif()
    string(APPEND exports "${name} @${ordinal}\n")
endforeach()
file(WRITE ${DEF_OUT} "${exports}")
if(WIDTH STREQUAL x86)
    execute_process(COMMAND ${DLLTOOL} -k -d ${DEF_OUT} -l ${OUT} COMMAND_ERROR_IS_FATAL ANY)
endif()
