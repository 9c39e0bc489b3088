// A characteristic as BlueZ exports it, with its subscription. Main thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/bluez/Bus.h"
#include "platform/bluez/NotifySocket.h"
#include "platform/shared/DeliveryQueue.h"

namespace platform::bluez {

class Peripheral;

class Characteristic final : public CBCharacteristic, public shared::ValueTarget {
 public:
  // Where its values come from. Old versions of BlueZ (5.48 to 5.54, by their sources; not 5.55)
  // hide the battery service and export its level as a property of the device.
  enum class Source { characteristic, battery };

  Characteristic(Peripheral& peripheral, const CBUUID& uuid, std::string path, Source source);

  // BlueZ's object: the characteristic's own, or the device's for a battery level.
  const std::string& path() const { return path_; }
  Source source() const { return source_; }

  // The subscription. Values come from a socket or from signals; those that come before begin() are
  // kept until then. Without a subscription no value comes.
  bool isSubscribed() const { return socket_ != nullptr || signals_ != nullptr; }
  bool hasSocket() const { return socket_ != nullptr; }
  void receiveFrom(Descriptor socket);
  void listen();
  void begin();
  void endSubscription();

  // BlueZ also signals the value of a read, just before it answers the read. So during a read the
  // newest signal is kept back, and dropped if the read succeeds.
  void readDidBegin();
  void readDidEnd(bool hasSucceeded);

  // Makes the callback: a value, or the error of a read.
  void deliver(Value value) override;
  void deliver(const Error& error);

  void retain() override;
  void release() override;

 private:
  using Bytes = std::vector<std::uint8_t>;

  void handleSignal(sd_bus_message* signal);
  void handleSignalled(Value value);
  void take(Value value);
  void push(Value value);

  Peripheral& peripheral_;
  std::string path_;
  Source source_;
  std::unique_ptr<NotifySocket> socket_;
  std::unique_ptr<Match> signals_;
  bool hasBegun_ = false;
  bool isReading_ = false;
  std::vector<Bytes> early_;
  std::optional<Bytes> echo_;
};

}  // namespace platform::bluez
