# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts in place, in three components, each of which is a Debian package, too:
# the tools with the reader plug-ins, their manual pages and completions; the library for other
# languages; and what is needed to build: the libraries that write logs and read them as tables, the
# public headers, the log's schema, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS ryx-profile-viewer ryx-profile-log RUNTIME COMPONENT tools)
install(TARGETS RyxGpuProfilingReader RyxProfilingReader
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tools)
install(TARGETS ryx_profile EXPORT RyxProfileTargets
        LIBRARY COMPONENT library NAMELINK_COMPONENT dev)

# Manual pages and completions, made by the built tools.
set(pages ${PROJECT_BINARY_DIR}/share)
add_custom_command(
  OUTPUT ${PROJECT_BINARY_DIR}/pages.stamp
  COMMAND ${PROJECT_SOURCE_DIR}/packaging/make_pages.sh
    $<TARGET_FILE_DIR:ryx-profile-log> ${pages}
  COMMAND ${CMAKE_COMMAND} -E touch ${PROJECT_BINARY_DIR}/pages.stamp
  DEPENDS ryx-profile-log ryx-profile-viewer ${PROJECT_SOURCE_DIR}/packaging/make_pages.sh
  COMMENT "Making manual pages and completions"
  VERBATIM)
add_custom_target(ryx_pages ALL DEPENDS ${PROJECT_BINARY_DIR}/pages.stamp)
install(DIRECTORY ${pages}/ DESTINATION ${CMAKE_INSTALL_DATADIR} COMPONENT tools)

# The documents, and the recorded logs that they show.
set(docDir ${CMAKE_INSTALL_DATADIR}/doc/ryx-profile-tools)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md LICENSE
        DESTINATION ${docDir} COMPONENT tools)
install(DIRECTORY docs samples DESTINATION ${docDir} COMPONENT tools)

install(DIRECTORY include/ryx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
        FILES_MATCHING PATTERN "*.h")
install(FILES src/stream/profile_log.fbs
        DESTINATION ${CMAKE_INSTALL_DATADIR}/ryx-profile COMPONENT dev)

# Hosts load the plug-ins with dlopen: all they build against is the interface's header.
add_library(ryx_profile_log_reader INTERFACE)
add_library(ryx::profile_log_reader ALIAS ryx_profile_log_reader)
set_target_properties(ryx_profile_log_reader PROPERTIES EXPORT_NAME profile_log_reader)
target_compile_features(ryx_profile_log_reader INTERFACE cxx_std_17)
target_include_directories(ryx_profile_log_reader INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(ryx_profile_log_reader INTERFACE ${CMAKE_DL_LIBS})

# The libraries below these come with them: static libraries carry none of what they link.
install(TARGETS ryx_profile_log_writer ryx_profile_tables ryx_profile_log_reader ryx_stream ryx_base
        EXPORT RyxProfileTargets ARCHIVE COMPONENT dev)
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/RyxProfile)
install(EXPORT RyxProfileTargets NAMESPACE ryx:: DESTINATION ${packageDir} COMPONENT dev)
configure_package_config_file(cmake/RyxProfileConfig.cmake.in
  ${PROJECT_BINARY_DIR}/RyxProfileConfig.cmake
  INSTALL_DESTINATION ${packageDir}
  PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/RyxProfileConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/RyxProfileConfig.cmake
              ${PROJECT_BINARY_DIR}/RyxProfileConfigVersion.cmake
        DESTINATION ${packageDir} COMPONENT dev)

# Relative to the .pc file, so that an installed tree may be moved.
file(RELATIVE_PATH prefixFromPkgConfig
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefixFromPkgConfig ${prefixFromPkgConfig})
configure_file(cmake/ryx-profile.pc.in ${PROJECT_BINARY_DIR}/ryx-profile.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ryx-profile.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
