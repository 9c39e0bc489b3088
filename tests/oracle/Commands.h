// The oracle's table of the host's commands, for its bridge and for the judge in tests/world.
// Nothing of it comes from the core.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/oracle/Families.h"

namespace oracle {

struct Command {
  enum class Act { end, write, subscribe, unsubscribe };

  std::string_view text;
  std::string_view log;
  Act act;
  const Family* family = nullptr;  // the family of the device that it goes to
  std::string_view uuid = {};      // the characteristic that it uses
  Bytes bytes = {};                // the bytes written, for a command without arguments
  std::size_t argumentBytes = 0;   // with arguments (a code and a value): the value's size; else 0
};

const std::vector<Command>& commands();

// The command in a line, or null. A line with arguments only has to begin with the command's text.
const Command* commandOf(const std::string& line);

// The bytes written for a line; nothing when its arguments are not valid.
std::optional<Bytes> bytesOf(const Command& command, const std::string& line);

}  // namespace oracle
