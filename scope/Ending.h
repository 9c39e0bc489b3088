// How a process ended, in words and back: "status 0", "signal 6".
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "scope/Piece.h"

namespace scope {

Ending endingOf(int waitStatus);  // as waitpid() tells it
std::string toText(Ending ending);
std::optional<Ending> toEnding(std::string_view text);

// Ends this process in the same way, by the same signal where it was one; without a core dump,
// since the process that had the fault has made its own.
[[noreturn]] void endAs(Ending ending);

}  // namespace scope
