# Hardening, which keeps a mistake in the code from giving others control of the program. For all
# programs that are shipped; tests/package/hardening checks them. Not in a build with sanitizers,
# which have their own means, and not for what is only for tests (cmake/Tests.cmake).
include(CheckPIESupported)
check_pie_supported()

add_library(vornix_hardening INTERFACE)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT VORNIX_SANITIZE)
  set(shipped $<NOT:$<STREQUAL:$<TARGET_PROPERTY:FOLDER>,tests>>)
  target_compile_options(vornix_hardening INTERFACE
    $<${shipped}:-fstack-protector-strong> $<${shipped}:-fstack-clash-protection>)
  # The C library's checks need an optimising compiler, and some distributions define their own.
  set(optimised $<AND:${shipped},$<CONFIG:Release,RelWithDebInfo,MinSizeRel>>)
  target_compile_options(vornix_hardening INTERFACE
    $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
  target_link_options(vornix_hardening INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()
