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
  while (!queue_.isEmpty() && isOpen()) queue_.deliverNext();
  isDelivering_ = false;
}

}  // namespace platform::corebluetooth
