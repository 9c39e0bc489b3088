// Devices: advertisements, D-Bus objects, and the models' time.
#include "lab/bluetoothd/Bluetoothd.h"

#include <algorithm>

#include "lab/bluetoothd/BusTypes.h"

namespace lab {

using namespace std::chrono_literals;

namespace {

constexpr Microseconds kMemory = 30s;     // then a device that is not connected is removed
constexpr std::int16_t kRssiChange = 15;  // dB; bluetoothd signals a change of 8 or more

}  // namespace

// On the adapter that has an object for it, unless the client discovers on another: the device is
// then removed and found there. With bluetoothd it has an object on both, of which the client uses
// the same one.
const std::string* Bluetoothd::adapterThatHears(const RemoteDevice& device) const {
  const std::string* first = nullptr;
  for (const auto& [path, adapter] : adapters_) {
    if (!adapter.isPowered || !adapter.isDiscovering()) continue;
    if (adapter.isForClient) return &path;
    const bool isWrong = device.hasObject() && device.adapter_ != path;
    if (first == nullptr && !isWrong) first = &path;
  }
  return first;
}

void Bluetoothd::hear(RemoteDevice& device) {
  if (!isRunning_ || !device.isAdvertising || device.isConnected_) return;
  const std::string* const path = adapterThatHears(device);
  if (path == nullptr) return;
  if (device.hasObject() && device.adapter_ != *path) {
    device.keptOn_.clear();
    forget(device);
  }
  const bool isNew = !device.hasObject();
  if (isNew) ++device.objects;
  const bool tellsName = !isNew || !device.doesNameComeLater;
  const bool isNameNew = tellsName && device.name_ != device.model_.name();
  if (tellsName) device.name_ = device.model_.name();
  device.adapter_ = *path;
  device.hasRssi_ = true;
  if (isNew) {
    tellObject(device);
  } else {
    Properties changed{{"RSSI", kRssi}};
    if (isNameNew) changed["Name"] = device.name_;
    tellChange(device.path(), kDeviceInterface, changed);
  }
  witness_.didHear(device);
  expire(device);
}

void Bluetoothd::expire(RemoteDevice& device) {
  device.lastHeard_ = agenda_.now();
  later(kMemory + 1ms, [this, &device] {
    const bool isStale = device.lastHeard_ + kMemory <= agenda_.now();
    if (isStale && device.isTemporary()) forget(device);
  });
}

// For a device that is heard again, bluetoothd signals only the properties that changed.
void Bluetoothd::passBy(const std::string& adapter, const std::string& key,
                        const std::string& name) {
  if (!isRunning_ || !isDiscovering(adapter)) return;
  const std::string path = adapter + "/" + key;
  const auto [entry, isNew] = strangers_.try_emplace(path, Stranger{name, kRssi, agenda_.now()});
  Stranger& stranger = entry->second;
  if (isNew) {
    tellAdded(path, [&](sd_bus_message* message) {
      appendDevice(message, {.path = path, .name = name, .rssi = stranger.rssi});
    });
    return later(kMemory, [this, path] { forgetStranger(path); });
  }
  stranger.lastHeard = agenda_.now();
  stranger.rssi = stranger.rssi == kRssi ? kRssi - kRssiChange : kRssi;
  tellChange(path, kDeviceInterface, {{"RSSI", stranger.rssi}});
}

void Bluetoothd::forgetStranger(const std::string& path) {
  const auto entry = strangers_.find(path);
  if (entry == strangers_.end()) return;
  const Microseconds end = entry->second.lastHeard + kMemory;
  if (end > agenda_.now()) {
    return later(end - agenda_.now(), [this, path] { forgetStranger(path); });
  }
  strangers_.erase(entry);
  tellRemoved(path, kDeviceInterface);
}

void Bluetoothd::remove(RemoteDevice& device) {
  if (!isRunning_ || !device.hasObject()) return;
  dropLink(device);
  device.keptOn_.clear();
  forget(device);
}

// As in bluetoothd, a pending Connect of a removed device is never answered.
void Bluetoothd::forget(RemoteDevice& device) {
  if (!device.hasObject()) return;
  if (device.hasGattObjects_) tellGattRemoved(device);
  const std::string path = device.path();
  device.adapter_.clear();
  if (device.connect_ != nullptr) bus_.forget(device.connect_);
  device.connect_.reset();
  ++device.attempt_;
  device.hasRssi_ = false;
  device.hasGattObjects_ = false;
  device.name_.clear();
  if (isRunning_) tellRemoved(path, kDeviceInterface);
}

// A service goes after its characteristics.
void Bluetoothd::tellGattRemoved(const RemoteDevice& device) {
  const Gatt* service = nullptr;
  const auto endService = [&] {
    if (service != nullptr) tellRemoved(device.path() + service->path, kServiceInterface);
  };
  for (const Gatt& gatt : device.gatt_) {
    if (gatt.isService) {
      endService();
      service = &gatt;
    } else {
      tellRemoved(device.path() + gatt.path, kCharacteristicInterface);
    }
  }
  endService();
}

void Bluetoothd::forgetUnheard(const std::string& adapter) {
  for (const auto& device : devices_) {
    if (device->adapter_ == adapter) device->hasRssi_ = false;
  }
  if (traits.forgetsAtDiscoveryEnd) forgetTemporary(adapter);
}

void Bluetoothd::forgetTemporary(const std::string& adapter) {
  for (const auto& device : devices_) {
    if (device->adapter_ == adapter && device->isTemporary()) forget(*device);
  }
  std::erase_if(strangers_, [&](const auto& stranger) {
    const bool isHere = stranger.first.starts_with(adapter + "/");
    if (isHere) tellRemoved(stranger.first, kDeviceInterface);
    return isHere;
  });
}

RemoteDevice* Bluetoothd::deviceAt(const std::string& path) {
  for (const auto& device : devices_) {
    if (device->hasObject() && (path == device->path() || path.starts_with(device->path() + "/"))) {
      return device.get();
    }
  }
  return nullptr;
}

void Bluetoothd::wake(RemoteDevice& device) {
  const std::size_t turn = ++device.turn_;
  agenda_.after(0us, [this, &device, turn] {
    if (turn == device.turn_) advance(device);
  });
}

void Bluetoothd::advance(RemoteDevice& device) {
  lookAtSockets(device);
  const std::optional<Microseconds> next = device.model_.advance(agenda_.now());
  if (!next) return;
  const std::size_t turn = ++device.turn_;
  agenda_.at(std::max(*next, agenda_.now() + 1us), [this, &device, turn] {
    if (turn == device.turn_) advance(device);
  });
}

}  // namespace lab
