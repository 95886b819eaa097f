# SPDX-License-Identifier: Apache-2.0
# The pages of the library's interface, made from the public headers where doxygen is installed.
find_program(DOXYGEN doxygen)
configure_file(cmake/api/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
if(DOXYGEN)
    set(API_PAGES ${PROJECT_BINARY_DIR}/api/html)
    file(GLOB API_SOURCES CONFIGURE_DEPENDS include/*.h platform/include/navo/*.h cmake/api/*)
    add_custom_command(OUTPUT ${API_PAGES}/index.html
                       COMMAND ${CMAKE_COMMAND} -E rm -rf ${API_PAGES}
                       COMMAND ${DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
                       DEPENDS ${API_SOURCES} ${PROJECT_BINARY_DIR}/Doxyfile VERBATIM)
    # With the packages only: whoever works on the library need not wait for them.
    if(VELLUMO_DEBIAN)
        set(ALWAYS ALL)
    endif()
    add_custom_target(vellumo_api_pages ${ALWAYS} DEPENDS ${API_PAGES}/index.html)
    install(DIRECTORY ${API_PAGES}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vellumo-doc/api
            COMPONENT vellumo-doc OPTIONAL)
endif()
