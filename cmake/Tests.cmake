# How tests are compiled, and run by ctest. Folders with tests include it before they add them.
include(GoogleTest)

# What is only for tests runs once or twice per build: optimizing it would cost more than it saves,
# and it needs no hardening (cmake/Hardening.cmake).
set(CMAKE_FOLDER tests)
add_compile_options(-g1 -O0)
if(VORNIX_PRECOMPILE)
  add_compile_definitions(GTEST_HAS_PTHREAD=1)  # all have to agree on what GTest's targets define
endif()

# Several files are compiled as one, which parses the headers once: a build takes a third of the
# time.
set(CMAKE_UNITY_BUILD ON)
set(CMAKE_UNITY_BUILD_BATCH_SIZE 8)

# Adds a program's tests, which take no time of their own and touch nothing beside the process. Each
# runs as a process of its own, so that none depends on what another left; with a sanitizer, whose
# start costs more than most tests, all of them run in one.
function(vornix_tests program)
  if(NOT VORNIX_SANITIZE)
    gtest_discover_tests(${program} DISCOVERY_TIMEOUT 120 ${ARGN})
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 with "NO_PRETTY_VALUES" "" "EXTRA_ARGS;PROPERTIES")
  add_test(NAME ${program} COMMAND ${program} --gtest_brief=1 ${with_EXTRA_ARGS})
  set_tests_properties(${program} PROPERTIES COST 60 ${with_PROPERTIES})
endfunction()
