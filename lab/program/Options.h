// The command line of vornix-lab.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lab {

struct Options {
  int controller = -1;
  std::string device;
  std::vector<std::string> controls;  // control lines that are obeyed before the device advertises
  std::string journal;                // a file; empty: standard output
  std::size_t largestMtu = 517;
  bool wantsHelp = false;
  bool wantsVersion = false;
};

// Nothing when the command line is not understood; the reason is then set.
std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& reason);

std::string helpText();

}  // namespace lab
