#include "lab/models/ModelFaults.h"

#include <algorithm>
#include <utility>

#include "lab/Text.h"

namespace lab {

bool ModelFaults::set(std::string_view name, std::string_view argument) {
  const auto [identifier, detail] = splitAt(argument, ':');
  const std::optional<Uuid> uuid = Uuid::parse(identifier);
  if (!uuid) return false;
  if (name == "refuse-read") return setRefusal(reads_, *uuid, detail, AttError::readNotPermitted);
  if (name == "refuse-write") {
    return setRefusal(writes_, *uuid, detail, AttError::writeNotPermitted);
  }
  if (name == "refuse-subscribe") {
    return setRefusal(subscriptions_, *uuid, detail, AttError::writeNotPermitted);
  }
  if (name == "short") {
    const std::optional<std::uint32_t> length = toNumber(detail);
    if (length) lengths_[*uuid] = *length;
    return length.has_value();
  }
  if (name == "value") {
    const std::optional<Bytes> value = fromHex(detail);
    if (value) values_[*uuid] = *value;
    return value.has_value();
  }
  if (name != "hide" && name != "last") return false;
  (name == "hide" ? hidden_ : last_).insert(*uuid);
  return true;
}

Bytes ModelFaults::spoil(const Uuid& uuid, Bytes value) const {
  if (const auto replaced = values_.find(uuid); replaced != values_.end()) value = replaced->second;
  if (const auto length = lengths_.find(uuid); length != lengths_.end()) {
    value.resize(std::min(value.size(), length->second));
  }
  return value;
}

AttError ModelFaults::find(const Refusals& refusals, const Uuid& uuid) {
  const auto found = refusals.find(uuid);
  return found == refusals.end() ? AttError::none : found->second;
}

bool ModelFaults::setRefusal(Refusals& refusals, const Uuid& uuid, std::string_view code,
                             AttError usual) {
  const std::optional<std::uint32_t> number =
      code.empty() ? static_cast<std::uint32_t>(usual) : toNumber(code);
  if (!number || *number == 0 || *number > 0xFF) return false;
  refusals[uuid] = static_cast<AttError>(*number);
  return true;
}

}  // namespace lab
