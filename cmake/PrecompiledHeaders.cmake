# precompiled_header(NAME LIBRARIES): cmake/precompiled/NAME.h, compiled once for all targets that use it. They must be
# compiled like it: the language's options and macros count. It is a matter of time alone: a file includes what it uses. For
# headers headers_alone proves it, which compiles each without this.
function(precompiled_header name)
    add_library(precompiled_${name} OBJECT ${PROJECT_SOURCE_DIR}/cmake/empty.cpp)
    target_link_libraries(precompiled_${name} PRIVATE ${ARGN})
    target_precompile_headers(precompiled_${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/precompiled/${name}.h)
endfunction()

function(use_precompiled_header target name)
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>) # ccache wants to see what is used
    target_precompile_headers(${target} REUSE_FROM precompiled_${name})
endfunction()
