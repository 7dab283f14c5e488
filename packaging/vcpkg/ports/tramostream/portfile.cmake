# The sources are those that contain this port.
set(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../../..")

if(VCPKG_LIBRARY_LINKAGE STREQUAL "dynamic")
    set(kind shared)
else()
    set(kind static)
endif()
vcpkg_check_features(OUT_FEATURE_OPTIONS FEATURE_OPTIONS
    FEATURES
        tool TRAMOSTREAM_TOOL
)
vcpkg_cmake_configure(
    SOURCE_PATH "${SOURCE_PATH}"
    OPTIONS
        ${FEATURE_OPTIONS}
        -DTRAMOSTREAM_INSTALL=${kind}
        -DTRAMOSTREAM_TESTS=OFF
)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME TramoStream CONFIG_PATH lib/cmake/TramoStream)
vcpkg_fixup_pkgconfig()
if("tool" IN_LIST FEATURES)
    vcpkg_copy_tools(TOOL_NAMES tramo AUTO_CLEAN)
endif()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")

file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/debian/copyright")
