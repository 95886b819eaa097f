# SPDX-License-Identifier: Apache-2.0
# Compresses what Debian demands compressed, before CPack makes the packages of what is staged.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/man/man*/*.[0-9]
     ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/doc/*/changelog
     ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/doc/vellumo-doc/CHANGELOG.md)
foreach(page ${pages})
    execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
# The units' place in Debian 12.
file(GLOB systems ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/lib/systemd)
foreach(system ${systems})
    string(REPLACE /usr/lib/systemd /lib place ${system})
    file(MAKE_DIRECTORY ${place})
    file(RENAME ${system} ${place}/systemd)
endforeach()

# A program for one architecture may not lie in /usr/share, where the engine looks for its data.
set(engine ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/vellumo-engine/usr)
if(EXISTS ${engine}/share/vellumo/engine/office)
    file(RENAME ${engine}/share/vellumo/engine/office ${engine}/libexec/vellumo/office)
    file(CREATE_LINK ../../../libexec/vellumo/office ${engine}/share/vellumo/engine/office SYMBOLIC)
endif()
