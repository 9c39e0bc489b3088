#include "scope/Options.h"

#include <charconv>
#include <cstdint>
#include <system_error>

namespace scope {
namespace {

constexpr std::string_view kHelp =
    R"(vornix-scope: watch a session between a host and its bridge

  vornix-scope [OPTION]... [COMMAND [ARGUMENT]...]
  vornix-scope [OPTION]... --replay FILE [--speed N]
  vornix-scope export FILE [FOLDER]

It stands in the bridge's place: it starts COMMAND, or vornix without one, passes standard input and
output through byte for byte, and ends as the bridge ends. The address of a page that shows what
passes is written to standard error.

  --record FILE      append the session to a recording
  --rotate MIB       a recording of that size is renamed to FILE.1 and so on, and begun anew
  --listen PORT      of 127.0.0.1; without it, or with 0, one that is free
  --read-only        the page sends no commands
  --address FILE     write the page's address there as well, readable for you alone
  --replay FILE      play the last session of a recording in place of a bridge
  --speed N          so many times faster; 0: without waiting
  --help, --version

export writes a recording's streams as FOLDER/STREAM.csv; without FOLDER, where you are.
)";

template <typename Number>
std::optional<Number> toNumber(std::string_view text, Number most) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || !(number >= 0 && number <= most)) return std::nullopt;
  return number;
}

bool setNumbered(Options& options, std::string_view name, std::string_view value) {
  constexpr int kLastPort = 65535;
  constexpr std::uint64_t kMostMebibytes = 1U << 20U;
  constexpr double kFastest = 1e6;
  if (name == "--listen") {
    const auto port = toNumber<int>(value, kLastPort);
    options.watch.port = port.value_or(0);
    return port.has_value();
  }
  if (name == "--rotate") {
    const auto size = toNumber<std::uint64_t>(value, kMostMebibytes);
    options.watch.rotateAt = size.value_or(0) << 20U;
    return size.value_or(0) > 0;
  }
  const auto speed = toNumber<double>(value, kFastest);
  options.speed = speed.value_or(1);
  return speed.has_value();
}

// An option with its value; false when there is no such option or the value is none for it.
bool setValue(Options& options, std::string_view name, std::string_view value) {
  if (name == "--record") {
    options.watch.record = value;
  } else if (name == "--address") {
    options.watch.addressFile = value;
  } else if (name == "--replay") {
    options.task = Options::Task::replay;
    options.recording = value;
  } else if (name == "--listen" || name == "--rotate" || name == "--speed") {
    return setNumbered(options, name, value);
  } else {
    return false;
  }
  return !value.empty();
}

std::optional<Options> parseExport(std::span<const char* const> arguments, std::string& reason) {
  if (arguments.empty() || arguments.size() > 2) {
    reason = "export takes a recording and a folder";
    return std::nullopt;
  }
  Options options;
  options.task = Options::Task::exportTables;
  options.recording = arguments[0];
  if (arguments.size() == 2) options.folder = arguments[1];
  return options;
}

}  // namespace

std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& reason) {
  if (!arguments.empty() && std::string_view(arguments[0]) == "export") {
    return parseExport(arguments.subspan(1), reason);
  }
  Options options;
  std::size_t i = 0;
  for (; i < arguments.size(); ++i) {
    const std::string_view option = arguments[i];
    if (option == "--help") options.task = Options::Task::help;
    if (option == "--version") options.task = Options::Task::version;
    if (option == "--help" || option == "--version") return options;
    if (option == "--read-only") {
      options.watch.isReadOnly = true;
      continue;
    }
    if (!option.starts_with('-')) break;
    if (option == "--") {
      ++i;
      break;
    }
    if (i + 1 == arguments.size() || !setValue(options, option, arguments[i + 1])) {
      reason = "not understood: " + std::string(option);
      return std::nullopt;
    }
    ++i;
  }
  options.watch.command.assign(arguments.begin() + static_cast<std::ptrdiff_t>(i), arguments.end());
  if (options.task == Options::Task::replay) {
    if (!options.watch.command.empty()) {
      reason = "a replay stands in place of a command";
      return std::nullopt;
    }
    options.watch.command = {"vornix-scope", "--replay", options.recording};
  }
  if (options.watch.command.empty()) options.watch.command = {"vornix"};
  return options;
}

std::string_view helpText() {
  return kHelp;
}

}  // namespace scope
