# Hardening, which keeps a mistake in the code from giving others control of the program. For all
# programs that are shipped; tests/package/hardening checks them. Not in a build with sanitizers,
# which have their own means.
include(CheckPIESupported)
check_pie_supported()

add_library(vornix_hardening INTERFACE)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT VORNIX_SANITIZE)
  target_compile_options(vornix_hardening INTERFACE
    -fstack-protector-strong -fstack-clash-protection)
  # The C library's checks need an optimising compiler, and some distributions define their own.
  set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
  target_compile_options(vornix_hardening INTERFACE
    $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
  target_link_options(vornix_hardening INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()
