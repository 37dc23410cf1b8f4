# Installation: headers, libraries, tools, message files, a CMake package
# (find_package(kov CONFIG) gives kov::kov and kov::nev) and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS nev kov EXPORT kovTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/nev include/kov include/gan DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES messages/nev.msg messages/kov.msg DESTINATION ${CMAKE_INSTALL_DATADIR}/kov/messages)

install(EXPORT kovTargets NAMESPACE kov:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kov)
configure_package_config_file(cmake/kovConfig.cmake.in ${PROJECT_BINARY_DIR}/kovConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kov)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kovConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kovConfig.cmake ${PROJECT_BINARY_DIR}/kovConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kov)

file(RELATIVE_PATH KOV_PC_PREFIX_REL ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/kov.pc.in ${PROJECT_BINARY_DIR}/kov.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kov.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_PACKAGE_NAME kov)
set(CPACK_PACKAGE_VENDOR "kov")
set(CPACK_PACKAGE_CONTACT "kov maintainers <maintainers@kov.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
