// Makes the callbacks, in order, while the bridge's output accepts more. Main thread.
//
// Waiting blocks the main thread, and so the framework: what the devices send meanwhile stays in
// the system's queue to this process, whose size is the system's. Only what the run loop had
// already taken from there is kept here.
#pragma once

#include <deque>
#include <functional>

namespace platform::corebluetooth {

class Delivery {
 public:
  using Call = std::function<void()>;

  void setGate(int fileDescriptor) { gate_ = fileDescriptor; }

  // From now on calls wait for the gate until this date, at most. Makes those that were kept; false
  // when the date came first.
  bool resume(double date);

  // Makes the call, or keeps it when the date comes before the gate opens.
  void deliver(Call call);

  // Gives up what was kept.
  void clear() { kept_.clear(); }

 private:
  bool waitForGate() const;

  int gate_ = -1;  // none
  double date_ = 0;
  std::deque<Call> kept_;
};

// Seconds since 1 January 1970.
double currentDate();

}  // namespace platform::corebluetooth
