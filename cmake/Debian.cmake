# SPDX-License-Identifier: Apache-2.0
# The Debian packages, one for each component of what is installed; scripts/package makes them.
set(DEBIAN_FILES ${PROJECT_SOURCE_DIR}/deploy/debian)
set(DEBIAN_PACKAGES libvellumo6 libvellumo-dev vellumo vellumo-engine vellumo-web vellumo-doc)
set(VELLUMO_MAINTAINER "Vellumo maintainers <maintainers@vellumo.invalid>" CACHE STRING
    "Who answers for the packages")
set(VELLUMO_PACKAGE_VERSION ${PROJECT_VERSION} CACHE STRING "Version of the packages")

# The system finds the libraries where they are installed.
foreach(target vellumo navo vellumo-engine vellumo_tool navovellumod vellumo-web)
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "")
endforeach()

string(TIMESTAMP DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(VERSION ${VELLUMO_PACKAGE_VERSION})
set(MAINTAINER ${VELLUMO_MAINTAINER})
configure_file(${DEBIAN_FILES}/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY)
foreach(package ${DEBIAN_PACKAGES})
    install(FILES ${DEBIAN_FILES}/copyright ${PROJECT_BINARY_DIR}/debian/changelog
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${package})
    if(EXISTS ${DEBIAN_FILES}/${package}/lintian-overrides)
        install(FILES ${DEBIAN_FILES}/${package}/lintian-overrides
                DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
                COMPONENT ${package})
    endif()
endforeach()
install(FILES ${DEBIAN_FILES}/sysusers.conf DESTINATION lib/sysusers.d RENAME vellumo.conf
        COMPONENT libvellumo6)
install(FILES ${DEBIAN_FILES}/logrotate DESTINATION /etc/logrotate.d RENAME vellumo COMPONENT vellumo)
install(PROGRAMS ${DEBIAN_FILES}/programs/vellumo-uninstall DESTINATION ${CMAKE_INSTALL_SBINDIR}
        COMPONENT vellumo)
install(FILES ${DEBIAN_FILES}/programs/vellumo-uninstall.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8
        COMPONENT vellumo)
install(FILES deploy/web/pam.d/vellumo-web DESTINATION /etc/pam.d COMPONENT vellumo-web)
install(FILES deploy/web/web.conf DESTINATION /etc/vellumo COMPONENT vellumo-web)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vellumo-doc COMPONENT vellumo-doc
        FILES_MATCHING PATTERN "*.md")
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vellumo-doc
        COMPONENT vellumo-doc)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vellumo)
set(CPACK_PACKAGE_VERSION ${VELLUMO_PACKAGE_VERSION})
set(CPACK_PACKAGE_CONTACT ${VELLUMO_MAINTAINER})
set(CPACK_COMPONENTS_ALL ${DEBIAN_PACKAGES})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON) # for what lies in /etc
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianStage.cmake)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_SOURCE_DIR}/dist)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/platform)

# describe(PACKAGE SECTION SUMMARY DESCRIPTION): these, and its maintainer scripts, if there are any.
function(describe package section summary description)
    string(TOUPPER ${package} NAME)
    set(CPACK_DEBIAN_${NAME}_PACKAGE_NAME ${package} PARENT_SCOPE)
    set(CPACK_DEBIAN_${NAME}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${NAME}_PACKAGE_PRIORITY optional PARENT_SCOPE)
    set(CPACK_COMPONENT_${NAME}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
    file(GLOB scripts ${DEBIAN_FILES}/${package}/p* ${DEBIAN_FILES}/${package}/conffiles
                      ${DEBIAN_FILES}/${package}/triggers)
    set(CPACK_DEBIAN_${NAME}_PACKAGE_CONTROL_EXTRA ${scripts} PARENT_SCOPE)
    if(NOT package MATCHES "-(dev|doc)$")
        set(CPACK_DEBIAN_${NAME}_PACKAGE_SHLIBDEPS ON PARENT_SCOPE)
    endif()
endfunction()
set(CPACK_DEBIAN_VELLUMO-DOC_PACKAGE_ARCHITECTURE all)
describe(libvellumo6 libs "document viewing core for a file server: libraries"
"Converts office documents, PDFs and e-books in Samba shares to PDFs and
thumbnails, each in a sandbox. This package has the libraries, and makes
the places in which all programs of Vellumo expect their files.")
describe(libvellumo-dev libdevel "document viewing core for a file server: development files"
"The headers of Vellumo's library, and what CMake and pkg-config need to
find it.")
describe(vellumo utils "document viewing core for a file server: programs"
"The command line, and the daemon that converts the documents of the
shares ahead of time.")
describe(vellumo-engine utils "document viewing core for a file server: conversion tools"
"Runs the conversion tools in sandboxes of their own, without a container
engine, and keeps an office in memory, so that documents need not wait
for one.")
describe(vellumo-web web "document viewing core for a file server: web service"
"Shows the documents of the shares in a browser, with the rights that
each user has on the server.")
describe(vellumo-doc doc "document viewing core for a file server: documentation"
"How to set Vellumo up and run it, how it is built, and what it can do.")

set(OURS "libvellumo6 (= ${VELLUMO_PACKAGE_VERSION})")
string(JOIN ", " TOOLS
    "${OURS}" bubblewrap libreoffice-writer libreoffice-calc libreoffice-impress libreoffice-draw
    libreoffice-math python3 python3-uno pdftk-java qpdf imagemagick ghostscript calibre fonts-dejavu
    fonts-liberation)
set(CPACK_DEBIAN_LIBVELLUMO6_PACKAGE_DEPENDS
    "systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_LIBVELLUMO-DEV_PACKAGE_DEPENDS "${OURS}, libjsoncpp-dev")
set(CPACK_DEBIAN_VELLUMO_PACKAGE_DEPENDS "${OURS}")
set(CPACK_DEBIAN_VELLUMO_PACKAGE_RECOMMENDS "vellumo-engine, samba, logrotate")
set(CPACK_DEBIAN_VELLUMO_PACKAGE_SUGGESTS "vellumo-web, vellumo-doc")
set(CPACK_DEBIAN_VELLUMO-ENGINE_PACKAGE_DEPENDS "${TOOLS}")
set(CPACK_DEBIAN_VELLUMO-ENGINE_PACKAGE_RECOMMENDS
    "fonts-crosextra-carlito, fonts-crosextra-caladea, fonts-noto-core, fonts-noto-cjk")
set(CPACK_DEBIAN_VELLUMO-WEB_PACKAGE_DEPENDS "${OURS}, libpam-runtime")
set(CPACK_DEBIAN_VELLUMO-WEB_PACKAGE_RECOMMENDS "vellumo")
include(CPack)
