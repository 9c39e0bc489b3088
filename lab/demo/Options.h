// The command line of vornix-demo.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lab::demo {

struct Fault {
  std::string name;
  std::string argument;
};

struct Options {
  std::vector<std::string> devices;   // kinds; all of them unless the command line names some
  std::vector<std::string> controls;  // control lines, obeyed before the bridge starts
  std::vector<Fault> faults;
  bool wantsHelp = false;
  bool wantsVersion = false;
};

// Nothing when the command line is not understood; the reason is then set.
std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& reason);

std::string helpText();

}  // namespace lab::demo
