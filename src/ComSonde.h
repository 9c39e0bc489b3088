// Handler of the one probe, an Ilo or a Tenoval: every measurement notification becomes one host
// message with the latest battery level. Main thread.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/Platform.h"

class ComSonde final : public platform::CBPeripheralDelegate {
 public:
  // Tells the host which of the two models it is. The device has to have a name.
  explicit ComSonde(std::shared_ptr<platform::CBPeripheral> device);

  void peripheralDidDiscoverServices(platform::CBPeripheral& peripheral,
                                     const platform::Error* error) override;
  void peripheralDidDiscoverCharacteristicsFor(platform::CBPeripheral& peripheral,
                                               platform::CBService& service,
                                               const platform::Error* error) override;
  void peripheralDidUpdateValueFor(platform::CBPeripheral& peripheral,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;

  const std::shared_ptr<platform::CBPeripheral> peripheral;
  const bool isIlo;            // by the name; every other probe is a Tenoval
  std::int64_t batSonde = -1;  // 0 to 255; -1, which the host sees as it stands, until known

 private:
  void sendIlo(platform::Value value);
  void sendTenoval(platform::Value value) const;
};
