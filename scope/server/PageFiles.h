// The files of the page. They are in the program: the build puts them there (scope/CMakeLists.txt).
#pragma once

#include <string_view>

namespace scope {

struct PageFile {
  std::string_view path;  // "/scope.js"
  const char* type;       // as HTTP names it
  std::string_view text;
};

// Nothing for a path that is not among them.
const PageFile* findPageFile(std::string_view path);

}  // namespace scope
