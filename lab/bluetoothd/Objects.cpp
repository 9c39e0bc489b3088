// What D-Bus clients see of bluetoothd's objects: signals, the list of all, single properties.
#include "lab/bluetoothd/Bluetoothd.h"

#include <utility>

#include "lab/bluetoothd/BusObjects.h"
#include "lab/bluetoothd/BusTypes.h"

namespace lab {

DeviceObject Bluetoothd::objectOf(const RemoteDevice& device) {
  return {.path = device.path(),
          .name = device.name_,
          .isConnected = device.isConnected_,
          .areServicesResolved = device.isResolved_,
          .rssi = device.hasRssi_ ? std::optional(kRssi) : std::nullopt};
}

void Bluetoothd::tellObject(RemoteDevice& device) {
  tellAdded(device.path(),
            [&](sd_bus_message* message) { appendDevice(message, objectOf(device)); });
}

void Bluetoothd::tellAdded(const std::string& path,
                           const std::function<void(sd_bus_message*)>& interfaces) {
  if (isRunning_ && !isKilled_) signalAdded(bus_, path, interfaces);
}

void Bluetoothd::tellRemoved(const std::string& path, const char* interface) {
  if (isRunning_ && !isKilled_) signalRemoved(bus_, path, {kPropertiesInterface, interface});
}

void Bluetoothd::tellChange(const std::string& path, const char* interface,
                            const Properties& changed) {
  if (isRunning_ && !isKilled_) signalChange(bus_, path, interface, changed);
}

void Bluetoothd::listObjects(const BusMessage& call) {
  BusMessage reply = MessageBus::newReply(call);
  sd_bus_message* message = reply.get();
  sd_bus_message_open_container(message, 'a', "{oa{sa{sv}}}");
  const auto append = [&](const std::string& path, const auto& interfaces) {
    sd_bus_message_open_container(message, 'e', "oa{sa{sv}}");
    sd_bus_message_append(message, "o", path.c_str());
    interfaces();
    sd_bus_message_close_container(message);
  };
  for (const auto& device : devices_) {
    if (!device->hasObject()) continue;
    if (device->hasGattObjects_) {
      for (auto gatt = device->gatt_.rbegin(); gatt != device->gatt_.rend(); ++gatt) {
        append(device->path() + gatt->path, [&] { appendGatt(message, *gatt); });
      }
    }
    append(device->path(), [&] { appendDevice(message, objectOf(*device)); });
  }
  for (const auto& entry : strangers_) {
    append(entry.first, [&] {
      appendDevice(message,
                   {.path = entry.first, .name = entry.second.name, .rssi = entry.second.rssi});
    });
  }
  for (const auto& entry : adapters_) {
    const auto& adapter = entry.second;
    append(entry.first,
           [&] { appendAdapter(message, adapter.isPowered, adapter.isDiscovering()); });
  }
  sd_bus_message_close_container(message);
  bus_.sendReply(std::move(reply));
  witness_.didListObjects();
}

void Bluetoothd::serveProperty(const BusMessage& call, const std::string& path) {
  const char* interface = nullptr;
  const char* name = nullptr;
  if (sd_bus_message_read(call.get(), "ss", &interface, &name) < 0) return;
  RemoteDevice* device = deviceAt(path);
  if (device == nullptr) return failUnknown(call, kUnknownObject);
  lookAtSockets(*device);
  BusMessage reply = MessageBus::newReply(call);
  const bool isTrue = device->isConnected_ && std::string(name) == "Connected";
  sd_bus_message_append(reply.get(), "v", "b", isTrue ? 1 : 0);
  bus_.sendReply(std::move(reply));
}

}  // namespace lab
