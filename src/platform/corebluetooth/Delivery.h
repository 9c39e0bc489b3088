// Makes the callbacks, in order, while the bridge's output accepts more. What waits for it is kept
// up to the queue's limit. Main thread.
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

  void setGate(int fileDescriptor) { gate_ = fileDescriptor; }

  // Callbacks may be made only between these two.
  void begin() { isServing_ = true; }
  void end() { isServing_ = false; }

  void push(shared::ValueTarget& target, Value value);
  void push(Action action);

  // Makes those that may be made now.
  void deliver();

  // Something waits for the output, for so many seconds at most from now on.
  bool isHeldBack() const { return !queue_.isEmpty(); }
  void waitForOutput(double seconds) { loop_.waitForOutput(gate_, seconds); }

  // Nothing more is to be taken from the framework.
  bool isFull() const { return queue_.isFull(); }

  // Gives up what waits; close() also what comes after it.
  void clear() { queue_.clear(); }
  void close() { queue_.close(); }

 private:
  bool isOpen() const { return gate_ < 0 || loop_.waitForOutput(gate_, 0); }

  MainLoop& loop_;
  shared::DeliveryQueue queue_;
  int gate_ = -1;  // none
  bool isServing_ = false;
  bool isDelivering_ = false;
};

}  // namespace platform::corebluetooth
