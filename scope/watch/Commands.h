// The bridge's commands, as the page may send them.
#pragma once

#include <optional>
#include <string_view>

#include "vornix_host/Commands.h"

namespace scope {

using vornix_host::Needs;

// What a line needs to be carried out; nothing when it is no command, or one with arguments that
// the bridge would end for.
std::optional<Needs> needsOf(std::string_view line);

}  // namespace scope
