# An overlay port: vcpkg install lumoralib --overlay-ports=packaging/vcpkg (this folder, named lumoralib).
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
vcpkg_check_features(OUT_FEATURE_OPTIONS FEATURE_OPTIONS FEATURES pictures LML_BUILD_PICTURES)
vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}"
                      OPTIONS ${FEATURE_OPTIONS} -DLML_BUILD_TESTS=OFF -DLML_BUILD_EXAMPLES=OFF -DLML_BUILD_COMMAND=OFF
                              -DLML_BUILD_PYTHON=OFF -DLML_WITH_MPI=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME lml CONFIG_PATH lib/cmake/lml)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
