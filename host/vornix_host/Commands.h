// Checks commands, so that none ends the bridge. The commands themselves are in Table.h.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Table.h"  // IWYU pragma: export

namespace vornix_host {

// Thrown for a line that would end the bridge, or that is more than one line.
class CommandError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

// The command that the bridge sees in a line; nullptr for any other line, which it logs as unknown.
constexpr const Command* commandOf(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  for (const Command& command : commands) {
    // The rest of the line after the word of these two is read as arguments.
    if (command.most > 0 ? line.starts_with(command.word) : line == command.word) return &command;
  }
  return nullptr;
}

// Whether a command must not be sent between a request for the document and its answer: the reply
// to it would be taken for the rest of a document that broke off.
constexpr bool isNotDuringDocument(const Command& command) {
  return command.isNotDuringDocument;
}

namespace detail {

// Whether the bridge reads this field as a number up to `most`: perhaps a sign, digits, nothing
// else.
inline bool isNumber(std::string_view field, std::uint32_t most) {
  const bool isNegative = field.starts_with('-');
  if (isNegative || field.starts_with('+')) field.remove_prefix(1);
  std::uint64_t value = 0;
  const char* const end = field.data() + field.size();
  const auto [stop, error] = std::from_chars(field.data(), end, value);
  return error == std::errc() && stop == end && value <= (isNegative ? 0 : most);
}

}  // namespace detail

// Whether a line, which checkCommand() has accepted, asks for the document.
inline bool asksForDocument(std::string_view line) {
  const Command* const command = commandOf(line);
  if (command == nullptr || command->most == 0) return command && isNotDuringDocument(*command);
  line.remove_prefix(line.find(' ') + 1);
  line = line.substr(0, line.find(' '));
  line.remove_prefix(std::min(line.find_first_not_of("+0"), line.size()));
  return line == "19";
}

// Throws CommandError for a line that would end the bridge even if all devices were ready.
inline void checkCommand(std::string_view line) {
  if (line.find('\n') != std::string_view::npos) throw CommandError("more than one line");
  const Command* const command = commandOf(line);
  if (command == nullptr || command->most == 0) return;
  if (line.ends_with('\r')) line.remove_suffix(1);
  for (const std::uint32_t most : {std::uint32_t{0xFF}, command->most}) {
    const std::size_t blank = line.find(' ');
    line.remove_prefix(blank == std::string_view::npos ? line.size() : blank + 1);
    if (!detail::isNumber(line.substr(0, line.find(' ')), most)) {
      throw CommandError(std::string(command->word) +
                         " takes a code of 0 to 255 and a value of 0 to " +
                         std::to_string(command->most));
    }
  }
}

}  // namespace vornix_host
