// The host's commands, as the oracle has them: the one table that its bridge and the world's judge
// read. Nothing of it comes from the core.
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
  const Family* family = nullptr;  // whose device it goes to
  std::string_view uuid = {};      // by which characteristic
  Bytes bytes = {};                // what is written
  std::size_t argumentBytes = 0;   // or, if not 0, the two numbers behind the text: a code, a value
};

const std::vector<Command>& commands();

// The command that a line is; null: none. With arguments it only has to begin with the text.
const Command* commandOf(const std::string& line);

// What is written for a line; nothing when its arguments are not as they have to be.
std::optional<Bytes> bytesOf(const Command& command, const std::string& line);

}  // namespace oracle
