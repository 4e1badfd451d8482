# What `cmake --install` puts where. On Linux the usual folders below the prefix; on Windows one tree for both widths, each in
# a folder of its own beside what they share, so that two builds installed into one folder are what users get.
include(CMakePackageConfigHelpers)
set(packaged ${PROJECT_SOURCE_DIR}/cmake/packaged)
set(made ${PROJECT_BINARY_DIR}/packaged)
set(headers ${PROJECT_SOURCE_DIR}/include/OrlMapi32.h ${PROJECT_SOURCE_DIR}/include/OrlMapi32.hpp
    ${PROJECT_SOURCE_DIR}/include/OrlMapi32_results.h)
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
file(GLOB examples CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.c ${PROJECT_SOURCE_DIR}/examples/*.cpp)

if(WIN32)
    set(config_folder cmake)
    set(document_folder docs)
    set(example_folder examples)
    install(TARGETS OrlMapi32 localmapi_dll orlmapi localmapi RUNTIME DESTINATION ${ORL_WIDTH})
    install(FILES $<TARGET_LINKER_FILE:OrlMapi32> ${PROJECT_BINARY_DIR}/bin/OrlMapi32.def DESTINATION ${ORL_WIDTH})
    foreach(target OrlMapi32 localmapi_dll orlmapi localmapi)
        install(FILES $<TARGET_FILE:${target}>.debug DESTINATION symbols/${ORL_WIDTH})
    endforeach()
    install(FILES ${headers} DESTINATION include)
    configure_file(${packaged}/OrlMapi32Config_windows.cmake.in ${made}/OrlMapi32Config.cmake @ONLY)
    set(arch ARCH_INDEPENDENT)
else()
    set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/OrlMapi32)
    set(document_folder ${CMAKE_INSTALL_DATADIR}/doc/orlmapi)
    set(example_folder ${document_folder}/examples)
    set_target_properties(OrlMapi32 mapi32 PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS OrlMapi32 mapi32 orlmapi localmapi
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
    install(FILES ${packaged}/libOrlMapi32.so DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    configure_package_config_file(${packaged}/OrlMapi32Config_linux.cmake.in ${made}/OrlMapi32Config.cmake
        INSTALL_DESTINATION ${config_folder} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR
        NO_CHECK_REQUIRED_COMPONENTS_MACRO NO_SET_AND_CHECK_MACRO)
    file(RELATIVE_PATH prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    configure_file(${packaged}/OrlMapi32.pc.in ${made}/OrlMapi32.pc @ONLY)
    install(FILES ${made}/OrlMapi32.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
    set(arch "")
endif()
write_basic_package_version_file(${made}/OrlMapi32ConfigVersion.cmake VERSION ${PROJECT_VERSION}
    COMPATIBILITY SameMajorVersion ${arch})
install(FILES ${made}/OrlMapi32Config.cmake ${made}/OrlMapi32ConfigVersion.cmake DESTINATION ${config_folder})
install(FILES ${documents} ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${document_folder})
install(FILES ${examples} DESTINATION ${example_folder})
