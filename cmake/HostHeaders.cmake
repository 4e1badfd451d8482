# Header-only libraries from Debian's packages. Cross builds must not see the rest of /usr/include, so just these
# folders are linked into an include folder of the build tree.
set(HOST_INCLUDE_DIR ${PROJECT_BINARY_DIR}/host-include)
file(MAKE_DIRECTORY ${HOST_INCLUDE_DIR})
foreach(folder CLI nlohmann)
    if(NOT EXISTS /usr/include/${folder})
        message(FATAL_ERROR "/usr/include/${folder} is missing: run scripts/setup")
    endif()
    file(CREATE_LINK /usr/include/${folder} ${HOST_INCLUDE_DIR}/${folder} SYMBOLIC)
endforeach()
add_library(cli_headers INTERFACE)
target_include_directories(cli_headers SYSTEM INTERFACE ${HOST_INCLUDE_DIR})
