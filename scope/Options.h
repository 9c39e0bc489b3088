// The command line of vornix-scope.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "scope/watch/Watch.h"

namespace scope {

struct Options {
  enum class Task { pass, replay, exportTables, help, version };
  Task task = Task::pass;
  WatchOptions watch;
  std::string recording;  // to replay or to export
  double speed = 1;       // 0: without waiting
  std::string folder = ".";
};

// Nothing when the command line cannot be understood, with the reason.
std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& reason);

std::string_view helpText();

}  // namespace scope
