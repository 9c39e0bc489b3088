// How BlueZ's objects are written into D-Bus messages, and the names of its errors.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/bluetoothd/RemoteDevice.h"

namespace lab {

inline constexpr char kAdapterInterface[] = "org.bluez.Adapter1";
inline constexpr char kDeviceInterface[] = "org.bluez.Device1";
inline constexpr char kServiceInterface[] = "org.bluez.GattService1";
inline constexpr char kCharacteristicInterface[] = "org.bluez.GattCharacteristic1";
inline constexpr char kPropertiesInterface[] = "org.freedesktop.DBus.Properties";
inline constexpr char kObjectManagerInterface[] = "org.freedesktop.DBus.ObjectManager";

// Errors.
inline constexpr char kFailed[] = "org.bluez.Error.Failed";
inline constexpr char kInProgress[] = "org.bluez.Error.InProgress";
inline constexpr char kNotPermitted[] = "org.bluez.Error.NotPermitted";
inline constexpr char kNotReady[] = "org.bluez.Error.NotReady";
inline constexpr char kNotSupported[] = "org.bluez.Error.NotSupported";
inline constexpr char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
inline constexpr char kUnknownObject[] = "org.freedesktop.DBus.Error.UnknownObject";
inline constexpr char kUnknownMethod[] = "org.freedesktop.DBus.Error.UnknownMethod";

// A model's tree as objects, in handle order: a service, then its characteristics. Before them the
// generic services, which every device has and the models do not tell of: that with the name and
// appearance if showsAccess, and the one of attributes.
std::vector<RemoteDevice::Gatt> gattOf(const DeviceModel& model, bool showsAccess);

inline constexpr std::int16_t kRssi = -60;  // dBm, of every device

// An object's interfaces with their properties: a{sa{sv}}.
void appendAdapter(sd_bus_message* message, bool isPowered, bool isDiscovering);
struct DeviceObject {
  std::string path;
  std::string name;  // empty: not known yet
  bool isConnected = false;
  bool areServicesResolved = false;
  std::optional<std::int16_t> rssi;  // dBm; nothing while the device is not heard
};
void appendDevice(sd_bus_message* message, const DeviceObject& device);
void appendGatt(sd_bus_message* message, const RemoteDevice::Gatt& gatt);

}  // namespace lab
