# Installation: headers, shared library, package files for CMake and pkg-config.
include(CMakePackageConfigHelpers)
install(TARGETS lml lml_large EXPORT lmlTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(header IN LISTS LML_PUBLIC_HEADERS)
  install(FILES lml/${header}.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lml)
endforeach()
install(EXPORT lmlTargets NAMESPACE lml:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/lml)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/lmlConfigVersion.cmake COMPATIBILITY SameMinorVersion)
configure_package_config_file(cmake/lmlConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/lmlConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/lml)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lmlConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/lmlConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/lml)
# The prefix is told relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH LML_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/lml.pc.in ${CMAKE_CURRENT_BINARY_DIR}/lml.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lml.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
