# Installation of the Linux build: libtrova.so (with SONAME and version),
# the public headers, the trova command and its man page, a pkg-config file
# and a CMake package (find_package(trova) -> trova::trova); `cpack -G DEB`
# packs the same tree as a Debian package.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(trova PROPERTIES VERSION ${PROJECT_VERSION}
                                       SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(trova INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS trova EXPORT trovaTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/include/trova/readers.h
              ${PROJECT_SOURCE_DIR}/include/trova/describe.h
              ${PROJECT_SOURCE_DIR}/include/trova/host.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/trova COMPONENT development)
install(EXPORT trovaTargets NAMESPACE trova:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/trova
        COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/trovaConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/trovaConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/trova)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/trovaConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/trovaConfig.cmake ${PROJECT_BINARY_DIR}/trovaConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/trova COMPONENT development)
file(RELATIVE_PATH TROVA_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" TROVA_PC_TO_PREFIX "${TROVA_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/trova.pc.in ${PROJECT_BINARY_DIR}/trova.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/trova.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
install(TARGETS trova_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/docs/trova.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT runtime)

set(CPACK_PACKAGE_NAME trova)
set(CPACK_PACKAGE_VENDOR "trova developers")
set(CPACK_PACKAGE_CONTACT "trova developers <trova@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "readers of power-quality analyser recordings")
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6, libgcc-s1")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
