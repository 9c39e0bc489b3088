# An archive and an installer package for macOS. The installed program is signed again, ad hoc:
# stripping invalidates the linker's signature, and without one Apple silicon does not start it.
# Whoever distributes it signs it with their own (docs/platforms/macos.md).
set(CPACK_GENERATOR TGZ productbuild)
set(CPACK_PACKAGE_NAME vornix)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "bridge between a host application and Bluetooth LE measurement devices")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr/local)
set(CPACK_PRODUCTBUILD_IDENTIFIER vornix)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_BINARY_DIR}/copyright.txt)  # the installer needs ".txt"
configure_file(docs/copyright copyright.txt COPYONLY)

find_program(VORNIX_STRIP strip REQUIRED)
find_program(VORNIX_CODESIGN codesign REQUIRED)
set(sign_installed [[
  set(program "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/@CMAKE_INSTALL_BINDIR@/vornix")
  execute_process(COMMAND "@VORNIX_STRIP@" "${program}" COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND "@VORNIX_CODESIGN@" --force --sign - --identifier vornix "${program}"
    COMMAND_ERROR_IS_FATAL ANY)
]])
string(CONFIGURE "${sign_installed}" sign_installed @ONLY)
install(CODE "${sign_installed}")
include(CPack)
