#include "platform/bluez/GattTree.h"

#include <algorithm>
#include <utility>

namespace platform::bluez {

namespace {

constexpr CBUUID kBatteryService = CBUUID::UUIDWithString("180F");
constexpr CBUUID kBatteryLevel = CBUUID::UUIDWithString("2A19");

// Sorts objects by their handles, since a snapshot has them in any order.
template <typename T>
class ByHandle {
 public:
  void add(unsigned handle, T& object) { found_.emplace_back(handle, &object); }

  std::vector<T*> sorted() {
    std::ranges::sort(found_, {}, &std::pair<unsigned, T*>::first);
    std::vector<T*> objects;
    objects.reserve(found_.size());
    for (const auto& [handle, object] : found_) objects.push_back(object);
    return objects;
  }

 private:
  std::vector<std::pair<unsigned, T*>> found_;
};

}  // namespace

std::vector<Service*> GattTree::read(const std::vector<Object>& objects,
                                     std::string_view devicePath) {
  ByHandle<Service> found;
  bool hasBatteryService = false;
  bool hasBatteryLevel = false;
  for (const Object& object : objects) {
    if (object.battery && object.path == devicePath) hasBatteryLevel = true;
    const auto handle = handleIn(object.path, "service");
    if (!object.service || !object.service->uuid || !object.service->isPrimary || !handle ||
        parentOf(object.path) != devicePath) {
      continue;
    }
    Service& read = service(*object.service->uuid, object.path);
    read.setAll(readCharacteristics(objects, object.path));
    found.add(*handle, read);
    hasBatteryService |= read.UUID() == kBatteryService;
  }
  std::vector<Service*> services = found.sorted();
  if (hasBatteryLevel && !hasBatteryService) services.push_back(&batteryService(devicePath));
  return services;
}

void GattTree::endSubscriptions() {
  for (const auto& characteristic : characteristics_) characteristic->endSubscription();
}

void GattTree::endSubscriptionOf(std::string_view characteristicPath) {
  for (const auto& characteristic : characteristics_) {
    if (characteristic->path() == characteristicPath) characteristic->endSubscription();
  }
}

std::vector<Characteristic*> GattTree::readCharacteristics(const std::vector<Object>& objects,
                                                           std::string_view servicePath) {
  ByHandle<Characteristic> found;
  for (const Object& object : objects) {
    const auto handle = handleIn(object.path, "char");
    if (!object.characteristic || !object.characteristic->uuid || !handle ||
        parentOf(object.path) != servicePath) {
      continue;
    }
    found.add(*handle, characteristic(*object.characteristic->uuid, object.path,
                                      Characteristic::Source::characteristic));
  }
  return found.sorted();
}

Service& GattTree::batteryService(std::string_view devicePath) {
  Service& battery = service(kBatteryService, devicePath);
  battery.setAll({&characteristic(kBatteryLevel, devicePath, Characteristic::Source::battery)});
  return battery;
}

Service& GattTree::service(const CBUUID& uuid, std::string_view path) {
  for (const auto& known : services_) {
    if (known->path() == path && known->UUID() == uuid) return *known;
  }
  return *services_.emplace_back(std::make_unique<Service>(uuid, std::string(path)));
}

Characteristic& GattTree::characteristic(const CBUUID& uuid, std::string_view path,
                                         Characteristic::Source source) {
  for (const auto& known : characteristics_) {
    if (known->path() == path && known->UUID() == uuid) return *known;
  }
  return *characteristics_.emplace_back(
      std::make_unique<Characteristic>(peripheral_, uuid, std::string(path), source));
}

}  // namespace platform::bluez
