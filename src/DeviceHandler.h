// What all device handlers do until values come: discover the services and characteristics in the
// family's description, read them, subscribe to them, and keep those that the host's commands need.
// Each handler decodes its own values. Main thread.
#pragma once

#include <memory>
#include <vector>

#include "Family.h"
#include "platform/Platform.h"

class DeviceHandler : public platform::CBPeripheralDelegate {
 public:
  DeviceHandler(const DeviceHandler&) = delete;
  DeviceHandler& operator=(const DeviceHandler&) = delete;

  // The services to discover once the device is connected.
  virtual std::vector<platform::CBUUID> services() const;

  // Logs a failure, which has to come with an error, of a device that has to have a name.
  void peripheralDidDiscoverServices(platform::CBPeripheral& device,
                                     const platform::Error* error) final;
  // Ignores the error and uses the characteristics that were found.
  void peripheralDidDiscoverCharacteristicsFor(platform::CBPeripheral& device,
                                               platform::CBService& service,
                                               const platform::Error* error) final;

  const std::shared_ptr<platform::CBPeripheral> peripheral;  // any thread may use it

 protected:
  // The family outlives the handler. The derived class makes itself the device's delegate.
  DeviceHandler(std::shared_ptr<platform::CBPeripheral> device, const Family& family);
  ~DeviceHandler() = default;

 private:
  void useCharacteristic(platform::CBPeripheral& device,
                         platform::CBCharacteristic& characteristic);

  const Family& family_;
};

// Converts a pointer to a handler's own field for its family's description, which is used with
// handlers of that class only.
template <class Handler>
constexpr KeptCharacteristic DeviceHandler::*keptIn(KeptCharacteristic Handler::*field) {
  return static_cast<KeptCharacteristic DeviceHandler::*>(field);
}
