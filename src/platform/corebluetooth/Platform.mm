#import <Foundation/Foundation.h>

#include <chrono>
#include <memory>
#include <thread>

#include "platform/Platform.h"
#import "platform/corebluetooth/Central.h"
#include "platform/corebluetooth/Delivery.h"
#include "platform/corebluetooth/Mailbox.h"

namespace platform {
namespace corebluetooth {
namespace {

class Platform final : public platform::Platform {
 public:
  std::unique_ptr<CBCentralManager> makeCentralManager(
      CBCentralManagerDelegate& delegate) override {
    @autoreleasepool {
      return std::make_unique<Central>(delegate, mailbox_, delivery_);
    }
  }

  // A run loop to which nothing is attached returns at once.
  void runUntil(double date) override {
    @autoreleasepool {
      if (!delivery_.resume(date)) return;
      NSDate* const end = [NSDate dateWithTimeIntervalSince1970:date];
      do {
        [[NSRunLoop currentRunLoop] runUntilDate:end];
      } while (now() < date);
    }
  }

  double now() const override { return currentDate(); }
  void sleep(std::chrono::microseconds duration) override { std::this_thread::sleep_for(duration); }
  void deliverWhileWritable(int fileDescriptor) override { delivery_.setGate(fileDescriptor); }

 private:
  Mailbox mailbox_;
  Delivery delivery_;
};

}  // namespace
}  // namespace corebluetooth

std::unique_ptr<Platform> makePlatform() {
  return std::make_unique<corebluetooth::Platform>();
}

}  // namespace platform
