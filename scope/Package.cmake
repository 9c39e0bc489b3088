# The package vornix-scope, apart from the bridge's:
#
#   cmake --install build/release --component scope
#   cd build/release && cpack -D CPACK_DEB_COMPONENT_INSTALL=ON -D CPACK_COMPONENTS_ALL=scope
#
# To be included before CPack is. What it installs is left out wherever nobody names it.
if(NOT TARGET vornix-scope)
  return()
endif()

target_link_options(vornix-scope PRIVATE LINKER:--build-id=none)
configure_file(scope/vornix-scope.1 vornix-scope.1 @ONLY)
add_custom_command(OUTPUT vornix-scope.1.gz
  COMMAND ${VORNIX_GZIP} -9 -n -k -f vornix-scope.1
  DEPENDS ${PROJECT_BINARY_DIR}/vornix-scope.1
  VERBATIM)
add_custom_target(vornix_scope_man ALL DEPENDS vornix-scope.1.gz)
add_dependencies(vornix-scope vornix_scope_man)

set(scope_documents ${CMAKE_INSTALL_DATADIR}/doc/vornix-scope)
install(TARGETS vornix-scope RUNTIME COMPONENT scope EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/vornix-scope.1.gz
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT scope EXCLUDE_FROM_ALL)
install(FILES scope/copyright CHANGELOG.md docs/scope.md docs/recording.md
  DESTINATION ${scope_documents} COMPONENT scope EXCLUDE_FROM_ALL)
install(FILES cmake/lintian-overrides RENAME vornix-scope
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT scope EXCLUDE_FROM_ALL)
install(FILES /usr/share/doc/libjs-dygraphs/copyright RENAME copyright.dygraphs
  DESTINATION ${scope_documents} COMPONENT scope EXCLUDE_FROM_ALL)

set(CPACK_DEBIAN_SCOPE_PACKAGE_NAME vornix-scope)
set(CPACK_DEBIAN_SCOPE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_SCOPE_PACKAGE_RECOMMENDS vornix)
set(CPACK_DEBIAN_SCOPE_DESCRIPTION
"view, recording and replay of a session with the Vornix bridge
It stands in the bridge's place, between a host application and the bridge,
and passes everything through unchanged. A page on the loopback address shows
devices, curves and log; recordings are replayed in the bridge's place, and
exported as tables.")
