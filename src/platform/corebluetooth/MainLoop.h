// The main thread's run loop, and the time. Main thread, but for wake(). A program of the tests may
// link another one in its place, in which time does not pass by itself.
#pragma once

#import <Foundation/Foundation.h>

#include <chrono>

#include "platform/corebluetooth/Retained.h"

@class VornixWakeUp;

namespace platform::corebluetooth {

class MainLoop {
 public:
  MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;
  ~MainLoop();

  void sleep(std::chrono::microseconds duration);

  double date() const;  // seconds since 1 January 1970
  double time() const;  // seconds that have passed since some moment, whatever is done to the date

  // Serves what has come; where nothing has, waits for it, for so many seconds at most.
  void turn(double seconds);

  // Waits until the descriptor accepts output, for so many seconds at most. The framework is not
  // served meanwhile: what comes stays with the system. True when it accepts. A descriptor whose
  // reader is gone, or that cannot be waited for, counts as accepting.
  bool waitForOutput(int fileDescriptor, double seconds);

  // Any thread: ends the turn that waits, or else the next one that would.
  void wake();

 private:
  Retained<NSTimer*> keepAlive_;
  Retained<VornixWakeUp*> wakeUp_;
};

}  // namespace platform::corebluetooth
