# Installation in parts: `runtime` (the shared libraries), `development` (headers, package files for CMake and pkg-config),
# `tools` (the command lml), `python` and `documentation` (licence, pages, examples). cmake --install BUILD [--component PART]
include(CMakePackageConfigHelpers)
set(LML_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/lml)

# lml_install(<target> <header>...): a library of this project with its public headers, in the export set <target>Targets.
function(lml_install target)
  install(TARGETS ${target} EXPORT ${target}Targets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  foreach(header IN LISTS ARGN)
    install(FILES ${PROJECT_SOURCE_DIR}/lml/${header}.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lml COMPONENT development)
  endforeach()
  install(EXPORT ${target}Targets NAMESPACE lml:: DESTINATION ${LML_CMAKE_DIR} COMPONENT development)
endfunction()

# lml_install_component(<target> <header> <pkg-config name>): a component, with cmake/<pkg-config name>.pc.in.
function(lml_install_component target header pc)
  lml_install(${target} ${header})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()

lml_install(lml ${LML_PUBLIC_HEADERS})
install(TARGETS lml_large EXPORT lmlTargets) # a name for a part of lml
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/lmlConfigVersion.cmake COMPATIBILITY SameMajorVersion)
configure_package_config_file(cmake/lmlConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/lmlConfig.cmake
                              INSTALL_DESTINATION ${LML_CMAKE_DIR})
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lmlConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/lmlConfigVersion.cmake
        DESTINATION ${LML_CMAKE_DIR} COMPONENT development)

# The prefix is told relative to the file itself, so that an installed tree can be moved. A static library needs the OpenMP
# runtime on the user's link line.
file(RELATIVE_PATH LML_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
set(LML_PC_LIBS "")
if(LML_LIBRARY_KIND STREQUAL STATIC)
  set(LML_PC_LIBS " ${OpenMP_CXX_FLAGS} -lstdc++ -lm")
endif()
configure_file(cmake/lml.pc.in ${CMAKE_CURRENT_BINARY_DIR}/lml.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lml.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# The pages keep their places to each other, so that links hold.
set(LML_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/lml)
install(FILES LICENSE README.md CHANGELOG.md SECURITY.md CONTRIBUTING.md DESTINATION ${LML_DOC_DIR} COMPONENT documentation)
install(DIRECTORY docs examples DESTINATION ${LML_DOC_DIR} COMPONENT documentation)
