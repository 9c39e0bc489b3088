#include "scope/watch/Commands.h"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

namespace scope {
namespace {

// Narrower than what the bridge takes: digits only.
bool isNumber(std::string_view text, std::uint32_t most) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end && number <= most;
}

bool isNumbered(std::string_view line, std::string_view word, std::uint32_t most) {
  if (!line.starts_with(word)) return false;
  line.remove_prefix(word.size());
  const std::size_t blank = line.find(' ');
  return blank != std::string_view::npos && isNumber(line.substr(0, blank), 0xFF) &&
         isNumber(line.substr(blank + 1), most);
}

}  // namespace

std::optional<Needs> needsOf(std::string_view line) {
  for (const vornix_host::Command& command : vornix_host::commands) {
    const bool isIt = command.most == 0
                          ? line == command.word
                          : isNumbered(line, std::string(command.word) + ' ', command.most);
    if (isIt) return command.needs;
  }
  return std::nullopt;
}

}  // namespace scope
