// The main thread's run loop, and the time. Main thread, except wake(). A test program may link
// another implementation, in which time does not pass by itself.
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
  double time() const;  // monotonic, in seconds from an arbitrary start

  // Serves the events that have come; if there are none, waits for one, for at most this time.
  void turn(double seconds);

  // Waits until the descriptor accepts output, for at most this time. Meanwhile the framework is
  // not served, and its events stay with the system. True when it accepts. A descriptor whose
  // reader is gone, or that cannot be polled, counts as accepting.
  bool waitForOutput(int fileDescriptor, double seconds);

  // Any thread: ends the turn that waits, or else the next one.
  void wake();

 private:
  Retained<NSTimer*> keepAlive_;
  Retained<VornixWakeUp*> wakeUp_;
};

}  // namespace platform::corebluetooth
