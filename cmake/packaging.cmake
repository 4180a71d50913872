# Packages a Linux user expects: a pkg-config file beside the CMake package, and from
# cpack a Debian package and a tarball holding the library, its resource modules, the
# headers and the brixsys program.

# brixsys.pc in <libdir>/pkgconfig, its prefix relative to that directory.
file(RELATIVE_PATH BRIXSYS_PC_TO_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" BRIXSYS_PC_TO_PREFIX "${BRIXSYS_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/brixsys.pc.in ${PROJECT_BINARY_DIR}/brixsys.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/brixsys.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_PACKAGE_NAME brixsys)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "Foundation library of a printed-circuit-board design application")
set(CPACK_PACKAGE_CONTACT "brixsys developers <brixsys@localhost>")
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_FILE_NAME brixsys-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
# The Debian libraries the library and the program link against, as dpkg-shlibdeps
# finds them; the package's own library is found in the package itself.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
include(CPack)
