# Writes the page's files into a source file, as server/PageFiles.h has them:
#   cmake -DOUTPUT=FILE -DFILES=PATH=FILE,... -P embed.cmake
set(types ".html=text/html|charset=utf-8" ".css=text/css" ".js=text/javascript" ".svg=image/svg+xml" ".json=application/json")
set(arrays "")
set(rows "")
set(count 0)
string(REPLACE "," ";" files "${FILES}")
foreach(entry ${files})
  string(REGEX MATCH "^([^=]*)=(.*)$" matched "${entry}")
  set(path "${CMAKE_MATCH_1}")
  set(file "${CMAKE_MATCH_2}")
  get_filename_component(ending "${file}" LAST_EXT)
  set(type "")
  foreach(pair ${types})
    if(pair MATCHES "^\\${ending}=(.*)$")
      string(REPLACE "|" "; " type "${CMAKE_MATCH_1}")
    endif()
  endforeach()
  if(NOT type)
    message(FATAL_ERROR "no type for ${file}")
  endif()
  file(READ "${file}" hex HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char file${count}[] = {\n${bytes}0};\n")
  string(APPEND rows "    {\"${path}\", \"${type}\", text(file${count})},\n")
  math(EXPR count "${count} + 1")
endforeach()
file(WRITE "${OUTPUT}" "// Made by scope/embed.cmake.
#include \"scope/server/PageFiles.h\"

#include <array>
#include <cstddef>

namespace scope {
namespace {

${arrays}
template <std::size_t size>
std::string_view text(const unsigned char (&bytes)[size]) {
  return {reinterpret_cast<const char*>(bytes), size - 1};
}

const std::array<PageFile, ${count}>& pageFiles() {
  static const std::array<PageFile, ${count}> files{{
${rows}  }};
  return files;
}

}  // namespace

const PageFile* findPageFile(std::string_view path) {
  for (const PageFile& file : pageFiles()) {
    if (file.path == path) return &file;
  }
  return nullptr;
}

}  // namespace scope
")
