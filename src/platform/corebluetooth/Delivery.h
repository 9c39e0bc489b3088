// Makes the callbacks, in order, while the bridge's output holds nothing back; those that wait are
// kept in a queue. Main thread.
//
// A callback is made from within the framework's own callback, or when the run loop has turned;
// never from within a call of the bridge.
#pragma once

#include <functional>

#include "platform/corebluetooth/MainLoop.h"
#include "platform/shared/DeliveryQueue.h"

namespace platform::corebluetooth {

class Delivery {
 public:
  using Action = shared::DeliveryQueue::Action;

  explicit Delivery(MainLoop& loop) : loop_(loop) {}

  void setOutput(Output& output) { output_ = &output; }

  // Callbacks may be made only between these two.
  void begin() { isServing_ = true; }
  void end() { isServing_ = false; }

  void push(shared::ValueTarget& target, Value value);
  void push(Action action);

  // Lets the output out as far as there is room, and makes the callbacks that may be made then.
  void deliver();

  // isHeldBack: the output waits for the host. waitForOutput waits for room, for at most this time.
  bool isHeldBack() const { return output_ != nullptr && output_->holdsBack(); }
  void waitForOutput(double seconds) { loop_.waitForOutput(output_->descriptor(), seconds); }

  // The queue is full: nothing more may be taken from the framework.
  bool isFull() const { return queue_.isFull(); }

  // Drops everything that waits; close() also drops everything that comes later.
  void clear() { queue_.clear(); }
  void close() { queue_.close(); }

 private:
  bool opens();

  MainLoop& loop_;
  shared::DeliveryQueue queue_;
  Output* output_ = nullptr;
  bool isServing_ = false;
  bool isDelivering_ = false;
};

}  // namespace platform::corebluetooth
