#include "lab/bluetoothd/BusTypes.h"

#include <algorithm>
#include <cstdio>

#include "lab/Uuid.h"

namespace lab {
namespace {

constexpr CharacteristicIndex kNoneOfTheModel = ~CharacteristicIndex{0};

std::string pathPart(const char* name, unsigned handle) {
  char text[32];
  std::snprintf(text, sizeof(text), "/%s%04x", name, handle);
  return text;
}

// Writes an object's interfaces: its own between the standard ones that every object has.
class InterfaceWriter {
 public:
  InterfaceWriter(sd_bus_message* message, const char* interface) : message_(message) {
    sd_bus_message_open_container(message, 'a', "{sa{sv}}");
    sd_bus_message_append(message, "{sa{sv}}", "org.freedesktop.DBus.Introspectable", 0);
    sd_bus_message_open_container(message, 'e', "sa{sv}");
    sd_bus_message_append(message, "s", interface);
    sd_bus_message_open_container(message, 'a', "{sv}");
  }
  InterfaceWriter(const InterfaceWriter&) = delete;
  InterfaceWriter& operator=(const InterfaceWriter&) = delete;
  ~InterfaceWriter() {
    sd_bus_message_close_container(message_);
    sd_bus_message_close_container(message_);
    sd_bus_message_append(message_, "{sa{sv}}", kPropertiesInterface, 0);
    sd_bus_message_close_container(message_);
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

// The address in a device's path, which ends in "/dev_AA_BB_CC_DD_EE_FF".
std::string addressIn(const std::string& path) {
  std::string address = path.substr(path.rfind('/') + 1);
  if (address.starts_with("dev_")) address.erase(0, 4);
  std::ranges::replace(address, '_', ':');
  return address;
}

}  // namespace

std::vector<RemoteDevice::Gatt> gattOf(const DeviceModel& model, bool showsAccess) {
  std::vector<RemoteDevice::Gatt> tree;
  if (showsAccess) {
    const std::string path = pathPart("service", 1);
    tree.push_back({.path = path, .uuid = longForm("1800"), .isService = true, .declared = {}});
    unsigned handle = 2;
    for (const char* uuid : {"2A00", "2A01"}) {
      tree.push_back({.path = path + pathPart("char", handle),
                      .uuid = longForm(uuid),
                      .declared = {.uuid = uuid, .read = true},
                      .index = kNoneOfTheModel});
      handle += 2;
    }
  }
  unsigned handle = 0x000A;
  CharacteristicIndex index = 0;
  tree.push_back({.path = pathPart("service", handle++),
                  .uuid = longForm("1801"),
                  .isService = true,
                  .declared = {}});
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
  InterfaceWriter adapter(message, kAdapterInterface);
  adapter.add("Address", std::string("00:11:22:33:44:55"));
  adapter.add("Powered", isPowered);
  adapter.add("Discovering", isDiscovering);
}

// The properties that bluetoothd 5.66 gives a device which advertises flags, a service and
// manufacturer data, in its order.
void appendDevice(sd_bus_message* message, const DeviceObject& device) {
  InterfaceWriter object(message, kDeviceInterface);
  object.add("Address", addressIn(device.path));
  object.add("AddressType", std::string("random"));
  if (!device.name.empty()) object.add("Name", device.name);
  object.add("Alias", std::string("AA-BB-CC-DD-EE-FF"));
  for (const char* name : {"Paired", "Bonded", "Trusted", "Blocked", "LegacyPairing"}) {
    object.add(name, false);
  }
  if (device.rssi) sd_bus_message_append(message, "{sv}", "RSSI", "n", *device.rssi);
  object.add("Connected", device.isConnected);
  static const std::string service = longForm("FEAA");
  sd_bus_message_append(message, "{sv}", "UUIDs", "as", 1, service.c_str());
  const std::string adapter = device.path.substr(0, device.path.rfind('/'));
  sd_bus_message_append(message, "{sv}", "Adapter", "o", adapter.c_str());
  sd_bus_message_append(message, "{sv}", "ManufacturerData", "a{qv}", 1, 0xFFFF, "ay", 4, 1, 2, 3,
                        4);
  object.add("ServicesResolved", device.areServicesResolved);
  sd_bus_message_append(message, "{sv}", "AdvertisingFlags", "ay", 1, 6);
}

void appendGatt(sd_bus_message* message, const RemoteDevice::Gatt& gatt) {
  InterfaceWriter object(message, gatt.isService ? kServiceInterface : kCharacteristicInterface);
  object.add("UUID", gatt.uuid);
  if (gatt.isService) {
    object.add("Primary", true);
  } else {
    sd_bus_message_append(message, "{sv}", "Value", "ay", 0);
  }
}

}  // namespace lab
