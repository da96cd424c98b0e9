# SPDX-License-Identifier: Apache-2.0
# Packs each package that CPack made once more, to mend what CPack does not do as Debian asks: the
# time of all files is the packages', not that at which they were put together; modes do not depend on
# who packs; the linker's cache is dpkg's to renew, by a trigger; packages of debug symbols have
# checksums by the names that files have when installed, and the notices of the package that they
# belong to.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(tree ${CPACK_TOPLEVEL_DIRECTORY}/repacked)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)

  if(EXISTS ${tree}/DEBIAN/postinst)
    file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
    file(WRITE ${tree}/DEBIAN/triggers "activate-noawait ldconfig\n")
  endif()

  execute_process(COMMAND dpkg-deb --field ${package} Package
    OUTPUT_VARIABLE name OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(name MATCHES "^(.*)-dbgsym$")
    execute_process(
      COMMAND find ${tree}/usr/lib/debug -type f -exec chmod a-x {} + COMMAND_ERROR_IS_FATAL ANY)
    file(MAKE_DIRECTORY ${tree}/usr/share/doc)
    file(CREATE_LINK ${CMAKE_MATCH_1} ${tree}/usr/share/doc/${name} SYMBOLIC)
    execute_process(
      COMMAND find usr -type f -print0 COMMAND sort -z COMMAND xargs -0 md5sum
      WORKING_DIRECTORY ${tree} OUTPUT_FILE ${tree}/DEBIAN/md5sums COMMAND_ERROR_IS_FATAL ANY)
  endif()

  execute_process(
    COMMAND chmod -R u=rwX,go=rX,a-s ${tree}/DEBIAN ${tree}/usr COMMAND_ERROR_IS_FATAL ANY)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=${CPACK_RYX_PACKAGE_TIME}
      dpkg-deb --root-owner-group --build ${tree} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${tree})
endforeach()
