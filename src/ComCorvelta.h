// Handler of the one Corvelta: forwards contraction records, calibration results, mains power,
// firmware version and battery level, and keeps the characteristics to which the host's commands
// write. Callbacks on the main thread; the fields that the reader thread uses (peripheral, data0,
// data1, charac_calibration, charac_acquisition) may be read by any thread.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "DeviceHandler.h"
#include "platform/Platform.h"

class ComCorvelta final : public DeviceHandler {
 public:
  static const Family family;

  explicit ComCorvelta(std::shared_ptr<platform::CBPeripheral> device);

  void peripheralDidUpdateValueFor(platform::CBPeripheral& device,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;

  const std::array<std::uint8_t, 1> data0{0x00};  // stops a calibration or an acquisition
  const std::array<std::uint8_t, 1> data1{0x01};  // starts it

  KeptCharacteristic charac_calibration{nullptr};
  KeptCharacteristic charac_acquisition{nullptr};
  KeptCharacteristic charac_force_sleep{nullptr};
};
