// Checks the direction of the dependencies by the #include lines of a source tree.
//
// - The core (src) includes itself, a lower layer never a higher one, and of the platform the
//   interface alone.
// - A platform implementation includes the interface, what platforms share, and its own folder.
// - The device models (lab) include lab alone. The simulated platform and what runs on it
//   (lab/simulated, lab/demo) also include the interface and what platforms share; a program there
//   may include main.h to run the bridge.
// - Nothing in src includes lab, tests, bench, host or scope.
// - The packages for hosts (host) include host alone; the live view (scope) includes scope and
//   host.
// - A file of the core without a layer, and a source file in a folder without a rule, is a
//   violation: whoever adds it has to decide where it belongs.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace unit {

struct Layering {
  std::size_t files = 0;                // files read
  std::size_t includes = 0;             // includes of files of the tree
  std::vector<std::string> violations;  // "src/Text.cpp includes lab/Text.h", in order
};

// Reads the source files of a tree, except those in its build folders.
Layering layeringOf(const std::filesystem::path& root);

}  // namespace unit
