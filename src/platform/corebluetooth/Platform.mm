#import <Foundation/Foundation.h>

#include <algorithm>
#include <memory>

#include "platform/Platform.h"
#import "platform/corebluetooth/Central.h"
#include "platform/corebluetooth/MainThread.h"
#include "platform/corebluetooth/Retained.h"

namespace platform {
namespace corebluetooth {
namespace {

// How often the framework is served while the host does not read. Callbacks cannot be made then
// anyway, and that the host reads again is noticed at once.
constexpr double kWhileHeldBack = 0.05;  // seconds

class Platform final : public platform::Platform {
 public:
  Platform() : activity_(beginActivity()) {}

  ~Platform() override {
    main_.delivery.close();
    [[NSProcessInfo processInfo] endActivity:activity_.get()];
  }

  std::unique_ptr<CBCentralManager> makeCentralManager(
      CBCentralManagerDelegate& delegate) override {
    @autoreleasepool {
      return std::make_unique<Central>(delegate, main_);
    }
  }

  void runUntil(double date) override {
    const double end = main_.loop.time() + (date - now());
    main_.delivery.begin();
    do {
      turn(end);
    } while (main_.loop.time() < end);
    main_.delivery.end();
  }

  double now() const override { return main_.loop.date(); }
  void sleep(std::chrono::microseconds duration) override { main_.loop.sleep(duration); }
  void deliverInto(Output& output) override { main_.delivery.setOutput(output); }

 private:
  // Without this, the system slows down a process without a window whose parent is not in use.
  static Retained<id> beginActivity() {
    @autoreleasepool {
      return Retained<id>([[NSProcessInfo processInfo]
          beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                            reason:@"The devices measure"]);
    }
  }

  void turn(double end) {
    @autoreleasepool {
      main_.mailbox.serve();
      if (main_.central != nullptr) main_.central->reconsiderState();
      main_.delivery.deliver();
      const double left = std::max(end - main_.loop.time(), 0.0);
      if (!main_.delivery.isHeldBack()) return main_.loop.turn(left);
      main_.delivery.waitForOutput(std::min(left, kWhileHeldBack));
      if (!main_.delivery.isFull()) main_.loop.turn(0);
    }
  }

  MainThread main_;
  Retained<id> activity_;
};

}  // namespace
}  // namespace corebluetooth

std::unique_ptr<Platform> makePlatform() {
  return std::make_unique<corebluetooth::Platform>();
}

}  // namespace platform
