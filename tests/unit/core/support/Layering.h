// The direction of the dependencies, read from the #include lines of a source tree.
//
// - The core (src) includes itself, a lower layer never a higher one, and of the
//   platform its interface alone.
// - A platform implementation includes the interface and its own folder.
// - The device models (lab) include lab alone. The simulated platform and what is on it
//   (lab/simulated, lab/demo) include the interface as well, and what platforms share; a program
//   there may run the bridge through main.h.
// - Nothing in src includes lab, tests, bench or host.
// - What is for hosts (host) includes itself alone; the live view (scope) that as well.
// - A file of the core that has no layer yet, and a source file in a folder that has no rule, has
// no
//   place: whoever adds it decides which it is.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace unit {

struct Layering {
  std::size_t files = 0;                // read
  std::size_t includes = 0;             // of files of the tree
  std::vector<std::string> violations;  // "src/Text.cpp includes lab/Text.h", in order
};

// Looks at the C++ files of a tree, but for its build folders.
Layering layeringOf(const std::filesystem::path& root);

}  // namespace unit
