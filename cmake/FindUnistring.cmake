# GNU libunistring, which comes without a CMake or pkg-config file. The static library is preferred:
# docs/architecture.md says why.
find_path(UNISTRING_INCLUDE_DIR unistr.h)
find_library(UNISTRING_LIBRARY NAMES libunistring.a unistring)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Unistring DEFAULT_MSG UNISTRING_LIBRARY UNISTRING_INCLUDE_DIR)
mark_as_advanced(UNISTRING_LIBRARY UNISTRING_INCLUDE_DIR)
if(Unistring_FOUND AND NOT TARGET Unistring::Unistring)
  add_library(Unistring::Unistring UNKNOWN IMPORTED)
  set_target_properties(Unistring::Unistring PROPERTIES
    IMPORTED_LOCATION "${UNISTRING_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${UNISTRING_INCLUDE_DIR}")
endif()
