# What is installed, in three parts (library, development, tools), and the
# Debian packages of the same three: cpack in the build folder makes them.
#
# Nothing that is installed knows its prefix: it may be moved as a whole.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS kivcorelib10 EXPORT kivcorelib10-targets
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  FILE_SET HEADERS COMPONENT development)
install(DIRECTORY include/slice DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/kivcorelib10)
install(EXPORT kivcorelib10-targets NAMESPACE kiv::
  DESTINATION ${config_folder} COMPONENT development)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/packaging/kivcorelib10-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES packaging/kivcorelib10-config.cmake
              ${PROJECT_BINARY_DIR}/packaging/kivcorelib10-config-version.cmake
  DESTINATION ${config_folder} COMPONENT development)

# From the folder of the .pc file to the prefix.
file(RELATIVE_PATH KIV_PC_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(packaging/kivcorelib10.pc.in
  ${PROJECT_BINARY_DIR}/packaging/kivcorelib10.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/kivcorelib10.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
file(GLOB examples CONFIGURE_DEPENDS examples/*.cpp examples/*.c examples/*.py
  examples/*.recording)
install(FILES ${examples}
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)
install(FILES README.md CHANGELOG.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT development FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
# The one page that is made of the sources.
find_program(KIV_PYTHON python3)
if(KIV_PYTHON)
  install(CODE "
    execute_process(COMMAND ${KIV_PYTHON}
      \"${PROJECT_SOURCE_DIR}/tools/message_index.py\" --page
      \"${PROJECT_SOURCE_DIR}\"
      OUTPUT_FILE \"${PROJECT_BINARY_DIR}/messages.md\"
      COMMAND_ERROR_IS_FATAL ANY)" COMPONENT development)
  install(FILES ${PROJECT_BINARY_DIR}/messages.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT development)
endif()

# The tools, and what the program says of itself.
set(manual ${PROJECT_BINARY_DIR}/manual)
add_custom_command(OUTPUT ${manual}/kiv.1 ${manual}/kiv.bash
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${manual}
  COMMAND kiv man ${manual}
  COMMAND kiv completion > ${manual}/kiv.bash
  DEPENDS kiv VERBATIM)
add_custom_target(kiv_manual ALL DEPENDS ${manual}/kiv.1)
file(RELATIVE_PATH library_from_bin
  /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
set_target_properties(kiv PROPERTIES
  INSTALL_RPATH "$ORIGIN/${library_from_bin}")
install(TARGETS kiv RUNTIME COMPONENT tools)
install(TARGETS kiv-processor
  RUNTIME DESTINATION ${CMAKE_INSTALL_LIBDIR}/kivcorelib10 COMPONENT library)
install(DIRECTORY ${manual}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
  COMPONENT tools FILES_MATCHING PATTERN "*.1")
install(FILES ${manual}/kiv.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME kiv
  COMPONENT tools)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kivcorelib10)
set(CPACK_PACKAGE_VENDOR sharelib)
set(CPACK_PACKAGE_CONTACT "The sharelib developers <sharelib@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Base library of service programs: text, dates, log, XML, queues")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_COMPONENTS_ALL library development tools)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libkivcorelib10)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkivcorelib-dev)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kiv)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "The shared library that service programs link and load.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Headers, CMake and pkg-config files, documentation and examples.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "kiv, which hosts, checks and looks after services.")
# The libraries' packages are found by what the files need; those of ours, which
# are not installed while they are packed, are named.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libkivcorelib10 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
    "libkivcorelib10 (>= ${PROJECT_VERSION})")
# The record store reaches every database by its ODBC driver.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "libsqliteodbc")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS
    "odbc-postgresql, tdsodbc, odbc-mdbtools")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "systemd")
include(CPack)
