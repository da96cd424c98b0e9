# SPDX-License-Identifier: Apache-2.0
# Debian packages, by `cpack -G DEB` in the build folder: one for each component of install.cmake, and
# their debug symbols apart. Two builds of one commit make the same bytes.

# The time that packages carry is the commit's, unless the environment says which.
set(packageTime $ENV{SOURCE_DATE_EPOCH})
if(NOT packageTime)
  execute_process(COMMAND git log -1 --format=%ct
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE packageTime OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT packageTime)
  file(TIMESTAMP CHANGELOG.md packageTime "%s" UTC)
endif()

# What Debian asks of every package: its terms and its changes.
set(maintainer "ryx-profile-viewer maintainers <maintainers@ryx-profile.example>")
set(ENV{SOURCE_DATE_EPOCH} ${packageTime})
string(TIMESTAMP packageDate "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(about ${PROJECT_BINARY_DIR}/packaging)
configure_file(packaging/changelog.in ${about}/changelog @ONLY)
execute_process(COMMAND gzip -9nf ${about}/changelog COMMAND_ERROR_IS_FATAL ANY)
foreach(package IN ITEMS tools=ryx-profile-tools library=libryx-profile1 dev=libryx-profile-dev)
  string(REGEX MATCH "^(.*)=(.*)$" package ${package})
  install(FILES packaging/copyright ${about}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CMAKE_MATCH_2}
          COMPONENT ${CMAKE_MATCH_1} EXCLUDE_FROM_ALL)
  string(TOUPPER ${CMAKE_MATCH_1} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${CMAKE_MATCH_2})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ryx-profile)
set(CPACK_PACKAGE_CONTACT ${maintainer})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL tools library dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE none)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_TOOLS_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_LIBRARY_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libryx-profile1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "ryx-profile-tools (= ${PROJECT_VERSION})")
# Each says what it is; the project's own summary would come before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"viewer and toolbox for profiling logs of GPU inference runs
 Shows where the time and memory of a run went and whether it got worse: as
 tables, comparisons for CI, SQLite, CSV, timelines and pages for a browser.
 The guide is in /usr/share/doc/ryx-profile-tools/docs/guide.md.")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
"profiling logs of GPU inference runs as Arrow streams
 A library with a C interface through which any language reads the tables
 of a profiling log.")
set(CPACK_DEBIAN_DEV_DESCRIPTION
"headers and libraries to read and write profiling logs
 The writer that back ends use, the tables for C++ hosts, the C interface and
 that of the reader plug-ins, the log's schema, with a CMake package and a
 pkg-config file.")

set(CPACK_RYX_PACKAGE_TIME ${packageTime})
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/repack_packages.cmake)
include(CPack)
