#include "platform/corebluetooth/Delivery.h"

#include <utility>

namespace platform::corebluetooth {

void Delivery::push(shared::ValueTarget& target, Value value) {
  queue_.push(target, value);
  deliver();
}

void Delivery::push(Action action) {
  queue_.push(std::move(action));
  deliver();
}

void Delivery::deliver() {
  if (!isServing_ || isDelivering_) return;
  isDelivering_ = true;
  while (opens() && !queue_.isEmpty()) queue_.deliverNext();
  isDelivering_ = false;
}

bool Delivery::opens() {
  if (isHeldBack()) output_->letOut();
  return !isHeldBack();
}

}  // namespace platform::corebluetooth
