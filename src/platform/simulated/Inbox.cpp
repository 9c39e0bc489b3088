#include "platform/simulated/Inbox.h"

#include <utility>

#include "platform/simulated/Gatt.h"
#include "platform/simulated/Peripheral.h"

namespace platform::simulated {
namespace {

constexpr std::size_t kMostHeld = std::size_t{64} << 20;

}  // namespace

void Inbox::Batch::clear() {
  entries.clear();
  bytes.clear();
  nextEntry = 0;
  nextByte = 0;
}

void Inbox::post(Call call) {
  filling_.entries.push_back({std::move(call), nullptr, 0});
}

bool Inbox::postValue(Characteristic& characteristic, Value value) {
  const std::size_t cost = sizeof(Entry) + value.size();
  if (held_ + cost > kMostHeld) return false;
  held_ += cost;
  filling_.entries.push_back({{}, &characteristic, value.size()});
  filling_.bytes.insert(filling_.bytes.end(), value.begin(), value.end());
  return true;
}

bool Inbox::empty() const {
  return delivering_.done() && filling_.entries.empty();
}

void Inbox::deliverNext() {
  if (delivering_.done()) {
    delivering_.clear();
    std::swap(delivering_, filling_);
  }
  Entry& entry = delivering_.entries[delivering_.nextEntry++];
  if (entry.call) {
    const Call call = std::move(entry.call);
    call();
    return;
  }
  const Value value{delivering_.bytes.data() + delivering_.nextByte, entry.length};
  delivering_.nextByte += entry.length;
  held_ -= sizeof(Entry) + entry.length;
  entry.characteristic->peripheral().deliverValue(*entry.characteristic, value);
}

}  // namespace platform::simulated
