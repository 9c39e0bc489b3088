// Whether callbacks may be made: only while a descriptor (the bridge's standard output) accepts
// output. Main thread only.
#pragma once

#include "platform/bluez/Poller.h"

namespace platform::bluez {

class Gate final : private Poller::Source {
 public:
  explicit Gate(Poller& poller) : poller_(poller) {}

  // From now on the gate follows this descriptor. Before, it is always open.
  void follow(int descriptor);

  // True when one more callback may be made. Asks the descriptor now and then.
  bool admits();

  // From an admits() that was false until the descriptor accepts output again.
  bool isShut() const { return isShut_; }

 private:
  void handle(short events) override;

  // A pipe that accepts output has a free page (4,096 bytes). The line of one value has some 80
  // bytes, at most about 1,040 (a value of 514 bytes in hexadecimal), so one answer is good for
  // this many callbacks. A longer line (a reply gathered from many values) may make the write
  // block until the reader goes on; nothing is received during that time.
  static constexpr int kCallbacksPerAnswer = 3;

  Poller& poller_;
  int descriptor_ = -1;
  int credit_ = 0;
  bool isShut_ = false;
};

}  // namespace platform::bluez
