# The release tree that `cmake --install` lays out and CPack zips:
#   bin/                      the three DLLs
#   lib/                      MinGW import libraries (.dll.a), one .def and one
#                             MSVC import library (.lib) per DLL,
#                             cmake/ruvobase/ (the CMake package) and
#                             pkgconfig/ruvobase.pc
#   include/ruvo/             the public headers
#   share/doc/libruvobase/    README and LICENSE
#   LICENSE
# Every path in the package files is relative to the file itself, so the
# tree can be unpacked anywhere.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(RUVO_DLL_TARGETS ruvobase ruvoalgo ruvozip)
set(RUVO_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ruvobase)

# Consumers name the libraries ruvo::base, ruvo::algo and ruvo::zip.
set_target_properties(ruvobase PROPERTIES EXPORT_NAME base)
set_target_properties(ruvoalgo PROPERTIES EXPORT_NAME algo)
set_target_properties(ruvozip PROPERTIES EXPORT_NAME zip)

install(TARGETS ${RUVO_DLL_TARGETS} EXPORT ruvobaseTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The debug sections name the folders of the machine that built the DLLs
# and triple their size; a release carries none.
foreach(target ${RUVO_DLL_TARGETS})
  install(CODE "execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --strip-debug
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:${target}>\"
    COMMAND_ERROR_IS_FATAL ANY)")
  get_target_property(name ${target} OUTPUT_NAME)
  install(FILES ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/${name}.def
          DESTINATION ${CMAKE_INSTALL_LIBDIR})
  if(RUVO_DLLTOOL)
    install(FILES ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/${name}.lib
            DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endif()
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ruvo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENSE
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION .)

# The CMake package.
install(EXPORT ruvobaseTargets NAMESPACE ruvo:: DESTINATION ${RUVO_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ruvobaseConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/ruvobaseConfig.cmake
  INSTALL_DESTINATION ${RUVO_PACKAGE_DIR} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Before 1.0 a new minor version may change the interface.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/ruvobaseConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ruvobaseConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/ruvobaseConfigVersion.cmake
        DESTINATION ${RUVO_PACKAGE_DIR})

# pkg-config finds the tree through ${pcfiledir}.
configure_file(${PROJECT_SOURCE_DIR}/cmake/ruvobase.pc.in ${CMAKE_CURRENT_BINARY_DIR}/ruvobase.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ruvobase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# `cpack` (tools/release.sh) zips the tree as libruvobase-<version>-win64.zip,
# all of it under one folder of that name.
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME libruvobase)
set(CPACK_PACKAGE_VENDOR "The libruvobase authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_FILE_NAME libruvobase-${PROJECT_VERSION}-win64)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_CHECKSUM SHA256)
include(CPack)
