# zlib: Debian's library on Linux; on Windows that of Debian's cross-compiled package, linked in.
if(WIN32)
    find_library(ZLIB_LIBRARY libz.a REQUIRED)
else()
    find_library(ZLIB_LIBRARY z REQUIRED)
endif()
add_library(zlib INTERFACE)
target_link_libraries(zlib INTERFACE ${ZLIB_LIBRARY})
