# How what is shipped is built, and everything else like it: with the compiler's guards, and so that the same sources give
# the same bytes, whatever folder they lie in.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
if(NOT ORLMAPI_SANITIZE AND NOT ORLMAPI_COVERAGE)
    add_compile_options(-fstack-protector-strong)
    add_link_options(-fstack-protector-strong) # for programs in C; ours in C++ have platform/windows/stack_guard.cpp
    if(NOT WIN32)
        add_compile_options($<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    endif()
endif()
if(WIN32)
    # Windows 7 is the oldest one (its functions are those that tests/abi/windows7.txt names).
    add_link_options(LINKER:--no-insert-timestamp LINKER:--major-os-version=6,--minor-os-version=1
        LINKER:--major-subsystem-version=6,--minor-subsystem-version=1)
    if(ORL_WIDTH STREQUAL x64)
        add_link_options(LINKER:--high-entropy-va)
    endif()
else()
    add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()

# shipped(TARGET DESCRIPTION [BASE address]): a library or program that users get. On Windows it has a version resource and,
# as a DLL, a fixed base, which the linker would else make of the output's path. Its debug data stand in a file of its own
# beside it, which debuggers look for.
function(shipped target description)
    cmake_parse_arguments(S "" "BASE" "" ${ARGN})
    get_target_property(type ${target} TYPE)
    if(WIN32)
        set(FILE_TYPE VFT_APP)
        set(FILE_NAME ${target}.exe)
        if(type STREQUAL SHARED_LIBRARY)
            set(FILE_TYPE VFT_DLL)
            get_target_property(FILE_NAME ${target} OUTPUT_NAME)
            if(NOT FILE_NAME)
                set(FILE_NAME ${target})
            endif()
            string(APPEND FILE_NAME .dll)
            target_link_options(${target} PRIVATE LINKER:--image-base=${S_BASE})
            if(ORL_WIDTH STREQUAL x86) # no handler in it is entered by the system; on x64 exceptions have them
                target_link_options(${target} PRIVATE LINKER:--no-seh)
            endif()
        endif()
        set(DESCRIPTION ${description})
        configure_file(${PROJECT_SOURCE_DIR}/cmake/Version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
        target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
    endif()
    if(ORLMAPI_SANITIZE OR ORLMAPI_COVERAGE)
        return()
    endif()
    # What the linker took from where, for packaging/sbom.
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/maps)
    target_link_options(${target} PRIVATE LINKER:-Map=${PROJECT_BINARY_DIR}/maps/${target}.map)
    add_custom_command(TARGET ${target} POST_BUILD COMMAND ${CMAKE_COMMAND} -DFILE=$<TARGET_FILE:${target}>
        -DOBJCOPY=${CMAKE_OBJCOPY} -DOBJDUMP=${CMAKE_OBJDUMP} -DSTRIP=${CMAKE_STRIP}
        -DSTRIP_OPTION=$<IF:$<BOOL:${WIN32}>,--strip-all,--strip-unneeded> -P ${PROJECT_SOURCE_DIR}/cmake/SplitDebug.cmake
        VERBATIM)
endfunction()
