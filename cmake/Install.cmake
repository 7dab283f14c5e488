# Installs the library, a CMake package and a pkg-config file. Both hold only paths relative to themselves, so an installed tree
# can be moved. Programs need component "runtime" to run and component "development" to build.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/TramoStream)
foreach(kind ${TRAMOSTREAM_INSTALL})
    if(kind STREQUAL "shared")
        set(target tramostream)
    elseif(kind STREQUAL "static")
        set(target tramostream_static)
    else()
        message(FATAL_ERROR "invalid value \"${kind}\" in TRAMOSTREAM_INSTALL; expected shared, static or shared;static")
    endif()
    install(TARGETS ${target} EXPORT TramoStream-${kind}
        RUNTIME COMPONENT runtime
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    install(EXPORT TramoStream-${kind} NAMESPACE tramostream:: DESTINATION ${package_folder} COMPONENT development)
endforeach()
install(DIRECTORY include/tramostream DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN *.h)

configure_package_config_file(packaging/TramoStreamConfig.cmake.in TramoStreamConfig.cmake INSTALL_DESTINATION ${package_folder}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(TramoStreamConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/TramoStreamConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/TramoStreamConfigVersion.cmake
    DESTINATION ${package_folder} COMPONENT development)

set(pkgconfig_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_to_prefix ${pkgconfig_folder} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix ${pkgconfig_to_prefix})
file(RELATIVE_PATH prefix_to_libraries ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH prefix_to_headers ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
set(library TramoStream)
set(definitions "")
if(NOT "shared" IN_LIST TRAMOSTREAM_INSTALL)
    set(library ${tramostream_static_name})
    set(definitions " -DTRAMOSTREAM_STATIC")
endif()
configure_file(packaging/tramostream.pc.in tramostream.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tramostream.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
