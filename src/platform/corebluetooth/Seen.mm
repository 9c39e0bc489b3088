#include "platform/corebluetooth/Seen.h"

#include <utility>

namespace platform::corebluetooth {

bool Seen::isNews(const Identifier& device, bool hasName) {
  auto known = recent_.find(device);
  if (known == recent_.end()) {
    if (recent_.size() == kLimit) before_ = std::exchange(recent_, {});
    const auto earlier = before_.find(device);
    if (earlier == before_.end()) {
      recent_.emplace(device, hasName);
      return true;
    }
    known = recent_.emplace(*earlier).first;
  }
  const bool wasNamed = std::exchange(known->second, known->second || hasName);
  return hasName && !wasNamed;
}

void Seen::clear() {
  recent_.clear();
  before_.clear();
}

}  // namespace platform::corebluetooth
