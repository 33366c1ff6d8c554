# SPDX-License-Identifier: MIT
# Library, headers, CMake package and pkg-config file. The tools install themselves.
if(NOT TVLINK_INSTALL)
    return()
endif()
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tvlink)

install(TARGETS ${TVLINK_LIBRARIES} EXPORT tvlinkTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
install(EXPORT tvlinkTargets NAMESPACE tvlink:: DESTINATION ${package_dir})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tvlinkConfig.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/tvlinkConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tvlinkConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tvlinkConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/tvlinkConfigVersion.cmake
        DESTINATION ${package_dir})

cmake_path(APPEND pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/tvlink.pc.in ${CMAKE_CURRENT_BINARY_DIR}/tvlink.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tvlink.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES ${PROJECT_SOURCE_DIR}/docs/man/tvlink.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)
