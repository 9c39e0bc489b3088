// Whether callbacks may be made: only while a descriptor (the bridge's standard output) accepts
// output. Main thread only.
#pragma once

namespace platform::bluez {

class Gate {
 public:
  // From now on the gate follows this descriptor. Before, it is always open.
  void follow(int descriptor) { descriptor_ = descriptor; }

  // True when one more callback may be made. Asks the descriptor now and then.
  bool admits();

  // While the gate is shut: the descriptor to wait for (for output); -1 while it is open. What the
  // wait has found is given to answer().
  int awaited() const { return isShut_ ? descriptor_ : -1; }
  void answer(short pollEvents);

 private:
  // A pipe that accepts output has a free page (4,096 bytes). The line of one value has some 80
  // bytes, at most about 1,040 (a value of 514 bytes in hexadecimal), so one answer is good for
  // this many callbacks. A longer line (a reply gathered from many values) may make the write
  // block until the reader goes on; nothing is received during that time.
  static constexpr int kCallbacksPerAnswer = 3;

  int descriptor_ = -1;
  int credit_ = 0;
  bool isShut_ = false;
};

}  // namespace platform::bluez
