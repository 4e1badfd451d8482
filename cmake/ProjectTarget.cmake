# Every target of ours is built alike: warnings are errors, symbols are hidden unless exported, and on x86
# Windows the stack is realigned on entry, because hosts there keep it aligned to 4 bytes only.
# CXX names another version of the language than C++20, for what must compile with it.
function(project_target target)
    cmake_parse_arguments(P "" "CXX" "" ${ARGN})
    if(NOT P_CXX)
        set(P_CXX 20)
    endif()
    target_compile_features(${target} PRIVATE cxx_std_${P_CXX})
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Werror
        $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
        $<$<CXX_COMPILER_ID:Clang>:-Wno-array-bounds>) # MAPI's records end in arrays of one that hold more
    # What reads windows.h is compiled alone: its macros are function names elsewhere.
    get_target_property(sources ${target} SOURCES)
    if(sources)
        set(alone ${sources})
        list(FILTER alone INCLUDE REGEX "_windows[.]cpp$")
        set_source_files_properties(${alone} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    endif()
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF C_STANDARD 11 POSITION_INDEPENDENT_CODE ON
        C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    if(WIN32)
        # GetProcAddress gives one function type for all.
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wno-cast-function-type>)
        target_compile_definitions(${target} PRIVATE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601 WINVER=0x0601)
        if(ORL_WIDTH STREQUAL x86)
            target_compile_options(${target} PRIVATE -mstackrealign)
        endif()
        # What the standard library asks of POSIX, instead of the toolchain's library, and for DLLs an entry that gives it
        # back.
        get_target_property(type ${target} TYPE)
        if(type MATCHES "^(SHARED|MODULE)_LIBRARY$")
            target_sources(${target} PRIVATE $<TARGET_OBJECTS:windows_runtime> $<TARGET_OBJECTS:windows_module_entry>)
            set(entry ModuleEntry)
            if(ORL_WIDTH STREQUAL x86)
                set(entry _ModuleEntry@12)
            endif()
            target_link_options(${target} PRIVATE -no-pthread LINKER:--entry=${entry})
        elseif(type STREQUAL EXECUTABLE AND sources MATCHES "[.]cpp")
            target_sources(${target} PRIVATE $<TARGET_OBJECTS:windows_runtime>)
            target_link_options(${target} PRIVATE -no-pthread)
        endif()
    endif()
endfunction()
