// What every device's handler does until values come: it finds the services and characteristics
// that its family's description names, reads them, subscribes to them, and keeps those that the
// host's commands need. What the values say is each handler's own. Main thread.
#pragma once

#include <memory>
#include <vector>

#include "Family.h"
#include "platform/Platform.h"

class DeviceHandler : public platform::CBPeripheralDelegate {
 public:
  DeviceHandler(const DeviceHandler&) = delete;
  DeviceHandler& operator=(const DeviceHandler&) = delete;

  // The services that the device is to be asked for once it is connected.
  virtual std::vector<platform::CBUUID> services() const;

  // A failure is logged; it has to come with an error, and the device has to have a name.
  void peripheralDidDiscoverServices(platform::CBPeripheral& device,
                                     const platform::Error* error) final;
  // A failure is not looked at: what was found is used.
  void peripheralDidDiscoverCharacteristicsFor(platform::CBPeripheral& device,
                                               platform::CBService& service,
                                               const platform::Error* error) final;

  const std::shared_ptr<platform::CBPeripheral> peripheral;  // any thread may use it

 protected:
  // Both outlive the handler. The handler has yet to make itself the device's delegate.
  DeviceHandler(std::shared_ptr<platform::CBPeripheral> device, const Family& family);
  ~DeviceHandler() = default;

 private:
  void useCharacteristic(platform::CBPeripheral& device,
                         platform::CBCharacteristic& characteristic);

  const Family& family_;
};

// A handler's own field, as its family's description has it. The description is used with handlers
// of that class only.
template <class Handler>
constexpr KeptCharacteristic DeviceHandler::*keptIn(KeptCharacteristic Handler::*field) {
  return static_cast<KeptCharacteristic DeviceHandler::*>(field);
}
