// Parses BlueZ's D-Bus messages about its objects into plain values; nothing else reads these
// messages. A property that is unknown or of the wrong type is skipped; a message that cannot be
// read to its end gives nothing. Texts and bytes point into the message.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

namespace platform::bluez {

struct AdapterProperties {
  std::optional<bool> powered;
  std::optional<std::string_view> address;  // as it is printed: 00:11:22:33:44:55
};

struct DeviceProperties {
  std::optional<std::string_view> name;  // the device's own, not BlueZ's Alias
  std::optional<bool> connected;
  std::optional<bool> servicesResolved;
  bool wasSeen = false;  // has an RSSI, as only devices of the current discovery do
};

struct ServiceProperties {
  std::optional<CBUUID> uuid;
  bool isPrimary = true;
};

struct CharacteristicProperties {
  std::optional<CBUUID> uuid;
  std::optional<Value> value;  // never longer than kLargestValue
};

struct BatteryProperties {
  std::optional<std::uint8_t> percentage;
};

// One object with the interfaces (in a change, the properties) that the message contains.
struct Object {
  std::string_view path;
  std::optional<AdapterProperties> adapter;
  std::optional<DeviceProperties> device;
  std::optional<ServiceProperties> service;
  std::optional<CharacteristicProperties> characteristic;
  std::optional<BatteryProperties> battery;
};

// The interfaces that an object has lost.
struct RemovedObject {
  std::string_view path;
  bool adapter = false;
  bool device = false;
  bool characteristic = false;
};

// The reply of GetManagedObjects.
std::optional<std::vector<Object>> parseManagedObjects(sd_bus_message* reply);

// The signals InterfacesAdded, InterfacesRemoved and PropertiesChanged.
std::optional<Object> parseInterfacesAdded(sd_bus_message* signal);
std::optional<RemovedObject> parseInterfacesRemoved(sd_bus_message* signal);
std::optional<Object> parsePropertiesChanged(sd_bus_message* signal);

// The reply of ReadValue.
std::optional<Value> parseValue(sd_bus_message* reply);

// The reply of Properties.Get for Battery1's Percentage.
std::optional<std::uint8_t> parsePercentage(sd_bus_message* reply);

// The hexadecimal number after a name in the last part of a path: 0x1a for
// handleIn(".../char001a", "char"). Nothing when the last part has another form.
std::optional<unsigned> handleIn(std::string_view path, std::string_view name);

// The path of the parent object.
std::string_view parentOf(std::string_view path);

}  // namespace platform::bluez
