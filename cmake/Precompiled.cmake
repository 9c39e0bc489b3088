# Reads the headers that most files include once for all targets below a folder. Only for the builds
# with sanitizers: in the release build a file whose include is missing has to be found.
option(VORNIX_PRECOMPILE "The C++ library's headers are read once, whichever a file includes" OFF)

# vornix_precompile(name HEADER...): in the folders that this one has added so far.
function(vornix_precompile name)
  if(NOT VORNIX_PRECOMPILE)
    return()
  endif()
  file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp CONTENT "")
  add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  target_link_libraries(${name} PRIVATE vornix_options)
  target_precompile_headers(${name} PRIVATE
    <algorithm> <array> <charconv> <chrono> <cstdint> <deque> <filesystem> <fstream> <functional>
    <map> <memory> <optional> <set> <span> <stdexcept> <string> <string_view> <system_error> <thread>
    <utility> <variant> <vector> ${ARGN})
  vornix_use_precompiled(${name} ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()

# A target that has it already, that is optimized otherwise or is in two languages is left as it is.
function(vornix_use_precompiled name folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    get_target_property(type ${target} TYPE)
    get_target_property(options ${target} COMPILE_OPTIONS)
    get_target_property(sources ${target} SOURCES)
    get_target_property(kind ${target} FOLDER)
    get_target_property(used ${target} PRECOMPILE_HEADERS_REUSE_FROM)
    if(type MATCHES "EXECUTABLE|(STATIC|OBJECT)_LIBRARY" AND NOT options MATCHES "-O[12]"
        AND ("${kind}" STREQUAL "${CMAKE_FOLDER}" OR NOT kind AND NOT CMAKE_FOLDER)
        AND NOT sources MATCHES "[.]mm" AND NOT used AND NOT target MATCHES "^precompiled")
      target_precompile_headers(${target} REUSE_FROM ${name})
      target_compile_options(${target} PRIVATE -fPIC)  # as the library that has it, not -fPIE
    endif()
  endforeach()
  get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(each ${folders})
    vornix_use_precompiled(${name} ${each})
  endforeach()
endfunction()
