#include "lab/bluetoothd/BusTypes.h"

#include <algorithm>
#include <cstdio>

namespace lab {
namespace {

std::string longForm(const std::string& uuid) {
  std::string text = uuid;
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text.size() == 4 ? "0000" + text + "-0000-1000-8000-00805f9b34fb" : text;
}

std::string pathPart(const char* name, unsigned handle) {
  char text[32];
  std::snprintf(text, sizeof(text), "/%s%04x", name, handle);
  return text;
}

class Interfaces {
 public:
  Interfaces(sd_bus_message* message, const char* interface) : message_(message) {
    sd_bus_message_open_container(message, 'a', "{sa{sv}}");
    sd_bus_message_open_container(message, 'e', "sa{sv}");
    sd_bus_message_append(message, "s", interface);
    sd_bus_message_open_container(message, 'a', "{sv}");
  }
  Interfaces(const Interfaces&) = delete;
  Interfaces& operator=(const Interfaces&) = delete;
  ~Interfaces() {
    for (int i = 0; i < 3; ++i) sd_bus_message_close_container(message_);
  }

  void add(const char* name, bool value) {
    sd_bus_message_append(message_, "{sv}", name, "b", value ? 1 : 0);
  }
  void add(const char* name, const std::string& value) {
    sd_bus_message_append(message_, "{sv}", name, "s", value.c_str());
  }

 private:
  sd_bus_message* message_;
};

constexpr std::int16_t kRssi = -60;

}  // namespace

std::vector<RemoteDevice::Gatt> gattOf(const DeviceModel& model) {
  std::vector<RemoteDevice::Gatt> tree;
  unsigned handle = 0x000A;
  CharacteristicIndex index = 0;
  for (const Service& service : model.services()) {
    const std::string path = pathPart("service", handle++);
    tree.push_back(
        {.path = path, .uuid = longForm(service.uuid), .isService = true, .declared = {}});
    for (const Characteristic& declared : service.characteristics) {
      tree.push_back({.path = path + pathPart("char", handle),
                      .uuid = longForm(declared.uuid),
                      .declared = declared,
                      .index = index++});
      handle += 3;
    }
  }
  return tree;
}

void appendAdapter(sd_bus_message* message, bool isPowered, bool isDiscovering) {
  Interfaces adapter(message, kAdapterInterface);
  adapter.add("Address", std::string("00:11:22:33:44:55"));
  adapter.add("Powered", isPowered);
  adapter.add("Discovering", isDiscovering);
}

void appendDevice(sd_bus_message* message, const std::string& name, bool isConnected,
                  bool areServicesResolved, bool hasRssi) {
  Interfaces device(message, kDeviceInterface);
  device.add("Alias", std::string("AA-BB-CC-DD-EE-FF"));
  if (!name.empty()) device.add("Name", name);
  device.add("Connected", isConnected);
  device.add("ServicesResolved", areServicesResolved);
  if (hasRssi) sd_bus_message_append(message, "{sv}", "RSSI", "n", kRssi);
}

void appendGatt(sd_bus_message* message, const RemoteDevice::Gatt& gatt) {
  Interfaces object(message, gatt.isService ? kServiceInterface : kCharacteristicInterface);
  object.add("UUID", gatt.uuid);
  if (gatt.isService) {
    object.add("Primary", true);
  } else {
    sd_bus_message_append(message, "{sv}", "Value", "ay", 0);
  }
}

void appendHeard(sd_bus_message* message, const std::string& newName) {
  sd_bus_message_append(message, "s", kDeviceInterface);
  sd_bus_message_open_container(message, 'a', "{sv}");
  sd_bus_message_append(message, "{sv}", "RSSI", "n", kRssi);
  if (!newName.empty()) sd_bus_message_append(message, "{sv}", "Name", "s", newName.c_str());
  sd_bus_message_close_container(message);
  sd_bus_message_append(message, "as", 0);
}

void appendValueChange(sd_bus_message* message, const Bytes& value) {
  sd_bus_message_append(message, "s", kCharacteristicInterface);
  sd_bus_message_open_container(message, 'a', "{sv}");
  sd_bus_message_open_container(message, 'e', "sv");
  sd_bus_message_append(message, "s", "Value");
  sd_bus_message_open_container(message, 'v', "ay");
  sd_bus_message_append_array(message, 'y', value.data(), value.size());
  for (int i = 0; i < 3; ++i) sd_bus_message_close_container(message);
  sd_bus_message_append(message, "as", 0);
}

}  // namespace lab
