# The installation, and the Debian package (macOS: an archive and a .pkg).
#
#   cmake --install build/release
#   cd build/release && cpack
#
# The package is reproducible, byte for byte, from the same sources and tools: its files have the
# date of the last commit (cmake/Reproducible.cmake), and the stripped program contains no path of
# the build.
if(NOT TARGET vornix OR VORNIX_SANITIZE)
  return()
endif()

include(GNUInstallDirs)
# Installing and packing build nothing: the target vornix has to be built before, tests and lab not.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CMAKE_SKIP_PACKAGE_ALL_DEPENDENCY ON)

# The build identifier would depend on the debug information, which contains paths of the build.
target_link_options(vornix PRIVATE $<$<PLATFORM_ID:Linux>:LINKER:--build-id=none>)

configure_file(docs/vornix.1 vornix.1 @ONLY)
find_program(VORNIX_GZIP gzip REQUIRED)
add_custom_command(OUTPUT vornix.1.gz
  COMMAND ${VORNIX_GZIP} -9 -n -k -f vornix.1
  DEPENDS ${PROJECT_BINARY_DIR}/vornix.1
  VERBATIM)
add_custom_target(vornix_man ALL DEPENDS vornix.1.gz)
add_dependencies(vornix vornix_man)

install(TARGETS vornix RUNTIME)
install(FILES ${PROJECT_BINARY_DIR}/vornix.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES docs/copyright CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}
  FILES_MATCHING PATTERN "*.md" PATTERN "messages.json" PATTERN "pictures" EXCLUDE)
install(DIRECTORY host/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  FILES_MATCHING PATTERN "*.h" PATTERN "*.cpp" PATTERN "*.py" PATTERN "py.typed"
  PATTERN "pyproject.toml" PATTERN "setup.cfg" PATTERN "CMakeLists.txt" PATTERN "*.cmake"
  PATTERN "__pycache__" EXCLUDE)

if(APPLE)
  include(cmake/MacPackage.cmake)
  return()
elseif(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
  return()
endif()

install(FILES cmake/lintian-overrides RENAME vornix
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vornix)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/Reproducible.cmake)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Vornix developers <vornix@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS bluez)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "bridge between a host application and Bluetooth LE measurement devices")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION 
"It connects to measurement devices, one of each family that it serves, over
BlueZ, and writes what they measure to its standard output: one framed and
checksummed line per value. It takes the host's orders for the devices from its
standard input.
.
The host protocol is described in the package, with an example host.")
include(scope/Package.cmake)
include(CPack)
