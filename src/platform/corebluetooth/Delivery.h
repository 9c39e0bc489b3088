// Makes the callbacks, in order, while the bridge's output holds nothing back. What waits for it is
// kept up to the queue's limit. Main thread.
//
// A callback is made as soon as the framework has called, from within that call, or when the run
// loop has turned; never from within what the bridge calls.
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

  // Lets the output out as far as there is room, and makes those that may be made then.
  void deliver();

  // The output waits for the host, for so many seconds at most from now on.
  bool isHeldBack() const { return output_ != nullptr && output_->holdsBack(); }
  void waitForOutput(double seconds) { loop_.waitForOutput(output_->descriptor(), seconds); }

  // Nothing more is to be taken from the framework.
  bool isFull() const { return queue_.isFull(); }

  // Gives up what waits; close() also what comes after it.
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
