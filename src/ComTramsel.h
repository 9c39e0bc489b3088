// Handler of the one Tramsel, a motion sensor: every motion notification becomes one host message
// with the latest battery level and nine values. Main thread.
#pragma once

#include <cstdint>
#include <memory>

#include "DeviceHandler.h"
#include "platform/Platform.h"

class ComTramsel final : public DeviceHandler {
 public:
  static const Family family;

  explicit ComTramsel(std::shared_ptr<platform::CBPeripheral> device);

  void peripheralDidUpdateValueFor(platform::CBPeripheral& device,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;

  std::int64_t batTramsel = -1;  // 0 to 255; -1 until known, which is sent as well

 private:
  void sendMotion(platform::Value value) const;
};
