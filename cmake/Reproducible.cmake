# Run by cpack before it packs, so that the packed files have the same date and permissions whoever
# packs them and when.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  get_filename_component(sources ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
  execute_process(COMMAND git -C ${sources} log -1 --format=%ct
    OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT date)
    set(date 1767225600)  # no history: 1 January 2026
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${date})
endif()

# With a stricter umask, the folders that cpack makes for the package would be closed to others.
execute_process(COMMAND sh -c umask OUTPUT_VARIABLE mask OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT mask MATCHES "^0*22$")
  message(FATAL_ERROR "Pack with umask 022, not ${mask}.")
endif()
