#import "platform/corebluetooth/MainLoop.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <thread>

@interface VornixWakeUp : NSObject
- (void)comeToIt;
@end

@implementation VornixWakeUp

// Does nothing: it only makes the run loop return.
- (void)comeToIt {
}

@end

namespace platform::corebluetooth {
namespace {

constexpr double kNever = 1e9;  // seconds

template <class Clock>
double secondsOf() {
  return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

}  // namespace

// A run loop without any source does not wait, so it gets a timer that never fires.
MainLoop::MainLoop()
    : keepAlive_(nil), wakeUp_(Retained<VornixWakeUp*>::adopt([VornixWakeUp new])) {
  @autoreleasepool {
    keepAlive_ = Retained<NSTimer*>([NSTimer scheduledTimerWithTimeInterval:kNever
                                                                     target:wakeUp_.get()
                                                                   selector:@selector(comeToIt)
                                                                   userInfo:nil
                                                                    repeats:NO]);
  }
}

MainLoop::~MainLoop() {
  [keepAlive_.get() invalidate];
}

void MainLoop::sleep(std::chrono::microseconds duration) {
  std::this_thread::sleep_for(duration);
}

double MainLoop::date() const {
  return secondsOf<std::chrono::system_clock>();
}

double MainLoop::time() const {
  return secondsOf<std::chrono::steady_clock>();
}

void MainLoop::turn(double seconds) {
  @autoreleasepool {
    NSDate* const end = [NSDate dateWithTimeIntervalSinceNow:std::max(seconds, 0.0)];
    [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:end];
  }
}

bool MainLoop::waitForOutput(int fileDescriptor, double seconds) {
  const double end = time() + seconds;
  pollfd output{fileDescriptor, POLLOUT, 0};
  int ready = 0;
  do {
    const double left = std::clamp(end - time(), 0.0, 3600.0);
    ready = ::poll(&output, 1, static_cast<int>(std::ceil(left * 1e3)));
  } while (ready < 0 && errno == EINTR);
  return ready != 0;
}

void MainLoop::wake() {
  @autoreleasepool {
    [wakeUp_.get() performSelectorOnMainThread:@selector(comeToIt) withObject:nil waitUntilDone:NO];
  }
}

}  // namespace platform::corebluetooth
