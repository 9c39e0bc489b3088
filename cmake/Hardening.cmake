# What a mistake in the code may not become: a program that others can steer. For everything that is
# shipped; tests/package/hardening looks at the built programs. A build with sanitizers goes without, since
# these have their own means.
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
