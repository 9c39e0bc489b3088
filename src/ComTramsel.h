// Handler of the one Tramsel, a motion sensor: every motion notification becomes one host message
// with the latest battery level and nine values. Main thread.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/Platform.h"

class ComTramsel final : public platform::CBPeripheralDelegate {
 public:
  explicit ComTramsel(std::shared_ptr<platform::CBPeripheral> device);

  void peripheralDidDiscoverServices(platform::CBPeripheral& peripheral,
                                     const platform::Error* error) override;
  void peripheralDidDiscoverCharacteristicsFor(platform::CBPeripheral& peripheral,
                                               platform::CBService& service,
                                               const platform::Error* error) override;
  void peripheralDidUpdateValueFor(platform::CBPeripheral& peripheral,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;

  const std::shared_ptr<platform::CBPeripheral> peripheral;
  std::int64_t batTramsel = -1;  // 0 to 255; -1, which the host sees as it stands, until known

 private:
  void sendMotion(platform::Value value) const;
};
