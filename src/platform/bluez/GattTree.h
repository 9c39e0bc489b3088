// The services of a peripheral, read from BlueZ's objects. Main thread only.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"
#include "platform/bluez/Characteristic.h"
#include "platform/bluez/Objects.h"

namespace platform::bluez {

class Peripheral;

class Service final : public CBService {
 public:
  Service(const CBUUID& uuid, std::string path) : CBService(uuid), path_(std::move(path)) {}

  const std::string& path() const { return path_; }

  // All characteristics of the service, in handle order, whatever was asked for.
  const std::vector<Characteristic*>& all() const { return all_; }
  void setAll(std::vector<Characteristic*> all) { all_ = std::move(all); }

  // Sets the result of a discovery for the bridge.
  void setCharacteristics(std::vector<CBCharacteristic*> found) {
    characteristics_ = std::move(found);
  }

 private:
  std::string path_;
  std::vector<Characteristic*> all_;
};

// All services and characteristics that a peripheral ever had. One that is found again is the same
// object.
class GattTree {
 public:
  explicit GattTree(Peripheral& peripheral) : peripheral_(peripheral) {}

  // The device's primary services in a snapshot, with all their characteristics, in handle order. A
  // battery level that BlueZ exports itself becomes a battery service, the last one, if the
  // device's own is missing.
  std::vector<Service*> read(const std::vector<Object>& objects, std::string_view devicePath);

  void endSubscriptions();
  void endSubscriptionOf(std::string_view characteristicPath);

 private:
  std::vector<Characteristic*> readCharacteristics(const std::vector<Object>& objects,
                                                   std::string_view servicePath);
  Service& batteryService(std::string_view devicePath);
  Service& service(const CBUUID& uuid, std::string_view path);
  Characteristic& characteristic(const CBUUID& uuid, std::string_view path,
                                 Characteristic::Source source);

  Peripheral& peripheral_;
  std::vector<std::unique_ptr<Service>> services_;
  std::vector<std::unique_ptr<Characteristic>> characteristics_;
};

}  // namespace platform::bluez
