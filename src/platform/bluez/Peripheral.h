// A device that BlueZ knows, or has known and that is still referenced.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/bluez/GattTree.h"
#include "platform/bluez/Link.h"
#include "platform/bluez/Loop.h"
#include "platform/bluez/Objects.h"
#include "platform/bluez/RequestQueue.h"

namespace platform::bluez {

class Peripheral final : public CBPeripheral, public std::enable_shared_from_this<Peripheral> {
 public:
  explicit Peripheral(std::shared_ptr<Loop> loop);
  ~Peripheral() override;

  std::optional<std::string> name() const override { return name_; }
  void setDelegate(CBPeripheralDelegate* delegate) override { delegate_ = delegate; }
  const std::vector<CBService*>* services() const override {
    return services_ ? &*services_ : nullptr;
  }
  void discoverServices(std::span<const CBUUID> services) override;
  void discoverCharacteristics(std::span<const CBUUID> characteristics,
                               CBService& service) override;
  void setNotifyValue(bool enabled, CBCharacteristic& characteristic) override;
  void readValue(CBCharacteristic& characteristic) override;
  void writeValue(Value value, CBCharacteristic& characteristic,
                  CBCharacteristicWriteType type) override;

  // Everything from here on is for this folder and the main thread only.

  Loop& loop() { return *loop_; }
  CBPeripheralDelegate* delegate() const { return delegate_; }
  GattTree& gatt() { return gatt_; }
  Link& link() { return link_; }
  void setServices(std::optional<std::vector<CBService*>> services) {
    services_ = std::move(services);
  }

  // The path of BlueZ's object for the device; empty once BlueZ has removed it.
  const std::string& path() const { return path_; }
  bool isPresent() const { return !path_.empty(); }
  bool isConnected() const { return isConnected_; }
  bool areServicesResolved() const { return areServicesResolved_; }

  // Events from BlueZ.
  void deviceDidChange(std::string_view path, const DeviceProperties& properties);
  void linkDidComeUp();
  void deviceDidDisappear();
  void objectDidDisappear(std::string_view path);

  // Which scan reported the device last, and whether its name was known then.
  bool wasReportedFor(unsigned scan) const { return reportedScan_ == scan; }
  bool isNewsFor(unsigned scan) const;
  void setReportedFor(unsigned scan);

  // Keep the object alive while a delivery for it waits.
  void retain();
  void release();

 private:
  void post(Request request);
  void setConnected(bool isConnected);

  std::shared_ptr<Loop> loop_;
  CBPeripheralDelegate* delegate_ = nullptr;
  std::optional<std::string> name_;
  std::optional<std::vector<CBService*>> services_;
  GattTree gatt_;

  std::string path_;
  bool isConnected_ = false;
  bool areServicesResolved_ = false;
  unsigned reportedScan_ = 0;
  bool reportedName_ = false;
  Link link_;
  RequestQueue requests_;

  std::size_t retained_ = 0;
  std::shared_ptr<Peripheral> self_;
};

}  // namespace platform::bluez
