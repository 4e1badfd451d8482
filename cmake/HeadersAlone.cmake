# headers_alone(LIBRARIES targets... FOLDERS folders...): a source file for each header below the folders, with nothing else
# in it, compiled as what links the libraries is, without a precompiled header: a header that leans on what its users happen
# to include before it ends the build.
function(headers_alone)
    cmake_parse_arguments(H "" "" "LIBRARIES;FOLDERS" ${ARGN})
    set(sources "")
    foreach(folder IN LISTS H_FOLDERS)
        file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/${folder}/*.h)
        foreach(header IN LISTS headers)
            set(source ${CMAKE_CURRENT_BINARY_DIR}/headers_alone/${header}.cpp)
            file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${PROJECT_SOURCE_DIR}/${header}\"\n")
            list(APPEND sources ${source})
        endforeach()
    endforeach()
    add_library(headers_alone OBJECT ${sources})
    foreach(library IN LISTS H_LIBRARIES)
        target_include_directories(headers_alone PRIVATE $<TARGET_PROPERTY:${library},INTERFACE_INCLUDE_DIRECTORIES>)
        target_include_directories(headers_alone SYSTEM PRIVATE
            $<TARGET_PROPERTY:${library},INTERFACE_SYSTEM_INCLUDE_DIRECTORIES>)
    endforeach()
    project_target(headers_alone)
    target_compile_options(headers_alone PRIVATE -O0 -g0)
endfunction()
