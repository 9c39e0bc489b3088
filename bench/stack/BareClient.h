// What every client of BlueZ has to do before values come, with sd-bus alone: it finds the one
// device in range, connects to it, and finds the path of its motion characteristic.
#pragma once

#include <systemd/sd-bus.h>

#include <string>

namespace bench {

// Ends the process with a message on standard error when sd-bus reports a failure.
int check(int result, const char* what);

class BareClient {
 public:
  static constexpr char kCharacteristicInterface[] = "org.bluez.GattCharacteristic1";

  // Returns when the characteristic can be subscribed to. Goes on scanning while it connects, as
  // the bridge has to, so that both wait for the device's next advertisement: emulated controllers
  // report a device at once to a new scan, which no real radio does.
  BareClient();
  BareClient(const BareClient&) = delete;
  BareClient& operator=(const BareClient&) = delete;
  ~BareClient() { sd_bus_flush_close_unref(bus_); }

  sd_bus* bus() const { return bus_; }
  const std::string& characteristic() const { return characteristic_; }

 private:
  void call(const std::string& path, const char* interface, const char* member);
  std::string waitFor(const char* interface, const char* property, const char* value);
  std::string find(const char* interface, const char* property, const char* value);

  sd_bus* bus_ = nullptr;
  std::string characteristic_;
};

}  // namespace bench
