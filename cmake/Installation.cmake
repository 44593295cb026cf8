# What `cmake --install` puts where, the CMake package of the component for C++ users
# (find_package(Vesk), target Vesk::vesk) and the Debian package made by CPack from the same
# installation. Native builds only.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The command, its manual page and its bash completion (written by vesk-documentation).
install(TARGETS vesk RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_BINARY_DIR}/src/cli/vesk.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_BINARY_DIR}/src/cli/completion/vesk
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# The documentation, with the copyright and the changelog a Debian package carries.
set(doc ${CMAKE_INSTALL_DATADIR}/doc/vesk)
file(GLOB pages ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${pages} ${PROJECT_SOURCE_DIR}/docs/demo-facturation.toml
        DESTINATION ${doc})
install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright DESTINATION ${doc})
add_custom_command(
  OUTPUT ${CMAKE_BINARY_DIR}/changelog.gz
  COMMAND sh -c "gzip -9n -c \"$1\" > \"$2\"" sh ${PROJECT_SOURCE_DIR}/packaging/changelog
          ${CMAKE_BINARY_DIR}/changelog.gz
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog
  VERBATIM)
add_custom_target(vesk_changelog ALL DEPENDS ${CMAKE_BINARY_DIR}/changelog.gz)
install(FILES ${CMAKE_BINARY_DIR}/changelog.gz DESTINATION ${doc})

# The component for C++ users: every library of the component and of the service library, their
# headers (tests' helpers left out), the sources that register the component's commands (a
# program that links them compiles them, as the build does), and the package Vesk.
get_property(bibliotheques GLOBAL PROPERTY VESK_BIBLIOTHEQUES)
add_library(vesk_composant INTERFACE)
target_link_libraries(vesk_composant INTERFACE ${bibliotheques})
set_target_properties(vesk_composant PROPERTIES EXPORT_NAME vesk)
install(TARGETS ${bibliotheques} vesk_composant EXPORT VeskTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}/vesk)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vesk
        FILES_MATCHING PATTERN "*.h"
        PATTERN "cli" EXCLUDE PATTERN "com" EXCLUDE PATTERN "testing" EXCLUDE
        PATTERN "demo" EXCLUDE PATTERN "tools" EXCLUDE PATTERN "testdata" EXCLUDE
        PATTERN "essai_*" EXCLUDE
        PATTERN "test_*" EXCLUDE PATTERN "*_testing.h" EXCLUDE)
get_property(enregistrements GLOBAL PROPERTY VESK_ENREGISTREMENTS)
foreach(e ${enregistrements})
  get_filename_component(dossier ${e} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/src/${e}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/vesk/enregistrement/${dossier})
endforeach()
set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vesk)
install(EXPORT VeskTargets NAMESPACE Vesk:: DESTINATION ${cmake_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VeskConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/VeskConfig.cmake INSTALL_DESTINATION ${cmake_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/VeskConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VeskConfig.cmake ${CMAKE_BINARY_DIR}/VeskConfigVersion.cmake
        DESTINATION ${cmake_dir})

# The Debian package vesk_<version>_amd64.deb (cpack -G DEB in the build folder).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vesk)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Vesk <vesk@example.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "data dictionary and code generator for BASIC applications over ISAM files")
set(CPACK_PACKAGE_DESCRIPTION
    "Vesk describes the data files of a business application written in a BASIC\n\
dialect over ISAM files (fields, B-tree keys, chainings, domains) on entry\n\
screens, prints that description, inspects and rebuilds B-trees, and generates\n\
the BASIC source that opens, reads, writes, enters and reports each file. The\n\
package holds the vesk command, its manual page and bash completion, and the\n\
component's static libraries, headers and CMake package for C++ programs.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-liberation")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://example.com/vesk")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES OFF)  # vesk is linked stripped; the static libraries keep their symbols
include(CPack)
