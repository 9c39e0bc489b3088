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

  // Tells the host which of the two models it is. The device has to have a name.
  explicit ComSonde(std::shared_ptr<platform::CBPeripheral> device);

  // The model's, not the family's.
  std::vector<platform::CBUUID> services() const override;
  void peripheralDidUpdateValueFor(platform::CBPeripheral& device,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;

  const bool isIlo;            // by the name; every other probe is a Tenoval
  std::int64_t batSonde = -1;  // 0 to 255; -1, which the host sees as it stands, until known

 private:
  void sendIlo(platform::Value value);
  void sendTenoval(platform::Value value) const;
};
