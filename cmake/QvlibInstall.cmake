# What `cmake --install` puts down: the library, its headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS qvlib EXPORT qvlibTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/qvlib DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT qvlibTargets NAMESPACE qvlib:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlib)

configure_package_config_file(cmake/qvlibConfig.cmake.in ${PROJECT_BINARY_DIR}/qvlibConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlib)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qvlibConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qvlibConfig.cmake ${PROJECT_BINARY_DIR}/qvlibConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlib)

configure_file(cmake/qvlib.pc.in ${PROJECT_BINARY_DIR}/qvlib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qvlib.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
