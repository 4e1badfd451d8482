# headers_alone(TARGET [TESTS] LIBRARIES targets... FOLDERS folders...): a source file for each header below the
# folders, with nothing else in it, compiled as what links the libraries is, without a precompiled header: a header that
# leans on what its users happen to include before it ends the build. TESTS: compiled as test code is, behind its
# precompiled header, since GoogleMock takes seconds; a header that leans on what that holds is not found, one that
# leans on ours is. Headers of Windows alone are left out.
function(headers_alone target)
    cmake_parse_arguments(H "TESTS" "" "LIBRARIES;FOLDERS" ${ARGN})
    set(sources "")
    foreach(folder IN LISTS H_FOLDERS)
        file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/${folder}/*.h)
        list(FILTER headers EXCLUDE REGEX "^platform/windows/")
        foreach(header IN LISTS headers)
            set(source ${CMAKE_CURRENT_BINARY_DIR}/headers_alone/${header}.cpp)
            file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${PROJECT_SOURCE_DIR}/${header}\"\n")
            list(APPEND sources ${source})
        endforeach()
    endforeach()
    add_library(${target} OBJECT ${sources})
    foreach(library IN LISTS H_LIBRARIES)
        target_include_directories(${target} PRIVATE $<TARGET_PROPERTY:${library},INTERFACE_INCLUDE_DIRECTORIES>)
        target_include_directories(${target} SYSTEM PRIVATE
            $<TARGET_PROPERTY:${library},INTERFACE_SYSTEM_INCLUDE_DIRECTORIES>)
    endforeach()
    if(H_TESTS)
        target_link_libraries(${target} PRIVATE gmock mapi_guids platform)
        test_code(${target})
    else()
        project_target(${target})
        target_compile_options(${target} PRIVATE -O0 -g0 -U_FORTIFY_SOURCE)
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD OFF)
endfunction()
