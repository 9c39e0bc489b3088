// Reads motion values from a socket like bluetoothd's and writes their lines, by the bridge's own
// code: loop, queue, handler, output. Each is sent when the one before is told, so that the bridge
// does not lag. For bench/core/instructions.
//
//   bench-socket COUNT
#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "ComTramsel.h"
#include "GattIdentifiers.h"
#include "Output.h"
#include "platform/bluez/Loop.h"
#include "platform/bluez/NotifySocket.h"
#include "platform/bluez/SystemClock.h"

namespace {

using platform::bluez::Descriptor;
using platform::bluez::Loop;
using platform::bluez::NotifySocket;
using namespace std::chrono_literals;

constexpr std::uint8_t kMotion[] = {0x01, 0x00, 0xFF, 0xFF, 0x34, 0x12, 0xF4, 0xFF, 0x00,
                                    0x00, 0xE8, 0x03, 0x7F, 0xFF, 0x00, 0x80, 0xFF, 0x7F};

class Device final : public platform::CBPeripheral {
 public:
  std::optional<std::string> name() const override { return "Tramsel"; }
  void setDelegate(platform::CBPeripheralDelegate*) override {}
  const std::vector<platform::CBService*>* services() const override { return nullptr; }
  void discoverServices(std::span<const platform::CBUUID>) override {}
  void discoverCharacteristics(std::span<const platform::CBUUID>, platform::CBService&) override {}
  void setNotifyValue(bool, platform::CBCharacteristic&) override {}
  void readValue(platform::CBCharacteristic&) override {}
  void writeValue(platform::Value, platform::CBCharacteristic&,
                  platform::CBCharacteristicWriteType) override {}
};

class Motion final : public platform::CBCharacteristic, public platform::shared::ValueTarget {
 public:
  Motion(int socket, long count)
      : CBCharacteristic(charac_tramsel), socket_(socket), left_(count) {}

  void sendNext() {
    if (left_ == 0) return;
    --left_;
    ::send(socket_, kMotion, sizeof(kMotion), 0);
  }

  void retain() override {}
  void release() override {}
  void deliver(platform::Value value) override {
    value_ = value;
    handler_.peripheralDidUpdateValueFor(device_, *this, nullptr);
    value_.reset();
    ++delivered_;
    sendNext();
  }

  long delivered() const { return delivered_; }

 private:
  Device device_;
  ComTramsel handler_{std::shared_ptr<platform::CBPeripheral>(&device_, [](auto*) {})};
  const int socket_;
  long left_;
  long delivered_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const long count = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 0;
  int ends[2];
  if (count <= 0 || ::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) return 2;
  std::setbuf(stdout, nullptr);
  Loop loop(std::make_unique<platform::bluez::SystemClock>());
  loop.gate().follow(standardOutput());
  Motion motion(ends[1], count);
  const NotifySocket socket(loop, Descriptor(ends[0]), motion, [] {});
  motion.sendNext();
  while (motion.delivered() < count) loop.runUntil(loop.clock().now() + 20ms);
}
