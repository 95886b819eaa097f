# SPDX-License-Identifier: Apache-2.0
# Installs the libraries, their headers and the files by which other projects find them.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME libvellumo-dev)
include(CMakePackageConfigHelpers)

set_target_properties(vellumo navo PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS vellumo navo EXPORT VellumoTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libvellumo6
        NAMELINK_COMPONENT libvellumo-dev)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vellumo
        FILES_MATCHING PATTERN "*.h")
install(DIRECTORY platform/include/navo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

set(VELLUMO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Vellumo)
install(EXPORT VellumoTargets NAMESPACE Vellumo:: DESTINATION ${VELLUMO_CMAKE_DIR})
configure_package_config_file(cmake/VellumoConfig.cmake.in
    ${PROJECT_BINARY_DIR}/VellumoConfig.cmake INSTALL_DESTINATION ${VELLUMO_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VellumoConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VellumoConfig.cmake
              ${PROJECT_BINARY_DIR}/VellumoConfigVersion.cmake
        DESTINATION ${VELLUMO_CMAKE_DIR})

configure_file(cmake/vellumo.pc.in ${PROJECT_BINARY_DIR}/vellumo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vellumo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvellumo-dev
        PATTERN .clang-tidy EXCLUDE)
