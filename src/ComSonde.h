// Handler of the one probe, an Ilo or a Tenoval: every measurement notification becomes one host
// message with the latest battery level. Main thread.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "DeviceHandler.h"
#include "platform/Platform.h"

class ComSonde final : public DeviceHandler {
 public:
  static const Family family;

  // Sends the host the message for the device's model. The device has to have a name.
  explicit ComSonde(std::shared_ptr<platform::CBPeripheral> device);

  // Those of the device's model, not of the whole family.
  std::vector<platform::CBUUID> services() const override;
  void peripheralDidUpdateValueFor(platform::CBPeripheral& device,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;

  const bool isIlo;            // by the name; every other probe is a Tenoval
  std::int64_t batSonde = -1;  // 0 to 255; -1 until known, which is sent as well

 private:
  void sendIlo(platform::Value value);
  void sendTenoval(platform::Value value) const;
};
