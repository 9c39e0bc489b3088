// Handler of the one Corvelta: forwards contraction records, calibration results, mains power,
// firmware version and battery level, and keeps the characteristics through which the host's orders
// reach the device. Callbacks on the main thread; the fields that the reader of host commands uses
// (peripheral, data0, data1, charac_calibration, charac_acquisition) may be read by any.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/Platform.h"

class ComCorvelta final : public platform::CBPeripheralDelegate {
 public:
  explicit ComCorvelta(std::shared_ptr<platform::CBPeripheral> device);

  void peripheralDidDiscoverServices(platform::CBPeripheral& peripheral,
                                     const platform::Error* error) override;
  void peripheralDidDiscoverCharacteristicsFor(platform::CBPeripheral& peripheral,
                                               platform::CBService& service,
                                               const platform::Error* error) override;
  void peripheralDidUpdateValueFor(platform::CBPeripheral& peripheral,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;

  const std::shared_ptr<platform::CBPeripheral> peripheral;
  const std::array<std::uint8_t, 1> data0{0x00};  // stops a calibration or an acquisition
  const std::array<std::uint8_t, 1> data1{0x01};  // starts it

  // Null until discovered.
  std::atomic<platform::CBCharacteristic*> charac_calibration{nullptr};
  std::atomic<platform::CBCharacteristic*> charac_acquisition{nullptr};
  std::atomic<platform::CBCharacteristic*> charac_force_sleep{nullptr};

 private:
  void useCharacteristic(platform::CBPeripheral& device,
                         platform::CBCharacteristic& characteristic);
};
