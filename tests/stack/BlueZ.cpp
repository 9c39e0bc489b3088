#include "BlueZ.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <system_error>

namespace stack {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char service[] = "org.bluez";
constexpr char daemonName[] = "org.freedesktop.DBus";
constexpr char adapterInterface[] = "org.bluez.Adapter1";

struct ReleaseMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, ReleaseMessage>;

class Failure {
 public:
  Failure() = default;
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;
  ~Failure() { sd_bus_error_free(&error_); }
  sd_bus_error* get() { return &error_; }

 private:
  sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

int check(int result, const std::string& what) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), what);
  return result;
}

std::string pathOf(const std::string& adapter) {
  return "/org/bluez/" + adapter;
}

// Calls handle with each key of an array of dictionary entries; the message is then at the value.
template <typename Handle>
void forEachEntry(sd_bus_message* message, char keyType, const char* entry, Handle handle) {
  const std::string contents = std::string("{") + entry + "}";
  check(sd_bus_message_enter_container(message, 'a', contents.c_str()), "array");
  while (check(sd_bus_message_enter_container(message, 'e', entry), "entry") > 0) {
    const char* key = nullptr;
    check(sd_bus_message_read_basic(message, keyType, &key), "key");
    handle(std::string_view(key));
    check(sd_bus_message_exit_container(message), "entry");
  }
  check(sd_bus_message_exit_container(message), "array");
}

template <typename T>
T readVariant(sd_bus_message* message, const char* type) {
  T value{};
  check(sd_bus_message_read(message, "v", type, &value), "value");
  return value;
}

// Calls handle with each interface of each object; the message is then at the properties, which
// handle may read.
template <typename Handle>
void forEachInterface(sd_bus* bus, Handle handle) {
  sd_bus_message* reply = nullptr;
  check(sd_bus_call_method(bus, service, "/", "org.freedesktop.DBus.ObjectManager",
                           "GetManagedObjects", nullptr, &reply, ""),
        "GetManagedObjects");
  const Message owner(reply);
  forEachEntry(reply, 'o', "oa{sa{sv}}", [&](std::string_view path) {
    forEachEntry(reply, 's', "sa{sv}", [&](std::string_view interface) {
      if (!handle(reply, path, interface)) check(sd_bus_message_skip(reply, "a{sv}"), "skip");
    });
  });
}

void readDevice(sd_bus_message* message, Device& device) {
  forEachEntry(message, 's', "sv", [&](std::string_view property) {
    if (property == "Name") {
      device.name = readVariant<const char*>(message, "s");
    } else if (property == "Connected") {
      device.connected = readVariant<int>(message, "b") != 0;
    } else {
      check(sd_bus_message_skip(message, "v"), "skip");
    }
  });
}

bool readIsAcquired(sd_bus_message* message, const std::string& uuid) {
  bool isAsked = false;
  bool isAcquired = false;
  forEachEntry(message, 's', "sv", [&](std::string_view property) {
    if (property == "UUID") {
      isAsked = uuid == readVariant<const char*>(message, "s");
    } else if (property == "NotifyAcquired") {
      isAcquired = readVariant<int>(message, "b") != 0;
    } else {
      check(sd_bus_message_skip(message, "v"), "skip");
    }
  });
  return isAsked && isAcquired;
}

// An identifier as BlueZ writes it: 36 characters, lower case.
std::string longForm(std::string uuid) {
  std::ranges::transform(uuid, uuid.begin(),
                         [](unsigned char digit) { return std::tolower(digit); });
  return uuid.size() == 4 ? "0000" + uuid + "-0000-1000-8000-00805f9b34fb" : uuid;
}

int getLevel(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* battery,
             sd_bus_error*) {
  return sd_bus_message_append(reply, "y", static_cast<Battery*>(battery)->level);
}

int getDevice(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* battery,
              sd_bus_error*) {
  return sd_bus_message_append(reply, "o", static_cast<Battery*>(battery)->device.c_str());
}

constexpr char batteryRoot[] = "/battery";
constexpr char batteryObject[] = "/battery/level";
constexpr char batteryProvider[] = "org.bluez.BatteryProvider1";
constexpr char batteryManager[] = "org.bluez.BatteryProviderManager1";

const sd_bus_vtable batteryProperties[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Percentage", "y", getLevel, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_PROPERTY("Device", "o", getDevice, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};

}  // namespace

BlueZ::BlueZ() {
  sd_bus* bus = nullptr;
  check(sd_bus_open_system(&bus), "system bus");
  bus_.reset(bus);
  const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
  for (const char* rule : {"type='signal',sender='org.bluez'",
                           "type='signal',sender='org.freedesktop.DBus',arg0='org.bluez'"}) {
    check(sd_bus_add_match(bus, nullptr, rule, ignore, nullptr), rule);
  }
}

bool BlueZ::waitUntil(const std::function<bool()>& condition, Limit limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (!condition()) {
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    if (left <= 0) return false;
    if (check(sd_bus_process(bus_.get(), nullptr), "bus") == 0) {
      check(sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(left)), "bus");
    }
  }
  return true;
}

bool BlueZ::isRunning() const {
  return sd_bus_get_name_creds(bus_.get(), service, 0, nullptr) >= 0;
}

std::optional<bool> BlueZ::isPowered(const std::string& adapter) const {
  return adapterFlag(adapter, "Powered");
}

std::optional<bool> BlueZ::isDiscovering(const std::string& adapter) const {
  return adapterFlag(adapter, "Discovering");
}

std::string BlueZ::address(const std::string& adapter) const {
  char* text = nullptr;
  if (sd_bus_get_property_string(bus_.get(), service, pathOf(adapter).c_str(), adapterInterface,
                                 "Address", nullptr, &text) < 0) {
    return "";
  }
  const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
  return text;
}

void BlueZ::setPowered(const std::string& adapter, bool powered) const {
  check(sd_bus_set_property(bus_.get(), service, pathOf(adapter).c_str(), adapterInterface,
                            "Powered", nullptr, "b", static_cast<int>(powered)),
        adapter);
}

void BlueZ::setDiscovering(const std::string& adapter, bool discovering) const {
  check(sd_bus_call_method(bus_.get(), service, pathOf(adapter).c_str(), adapterInterface,
                           discovering ? "StartDiscovery" : "StopDiscovery", nullptr, nullptr, ""),
        adapter);
}

std::string BlueZ::name() const {
  const char* name = nullptr;
  check(sd_bus_get_unique_name(bus_.get(), &name), "name");
  return name;
}

std::optional<bool> BlueZ::adapterFlag(const std::string& adapter, const char* property) const {
  int value = 0;
  if (!isRunning() ||
      sd_bus_get_property_trivial(bus_.get(), service, pathOf(adapter).c_str(), adapterInterface,
                                  property, nullptr, 'b', &value) < 0) {
    return std::nullopt;
  }
  return value != 0;
}

std::vector<Device> BlueZ::devices() const {
  std::vector<Device> devices;
  forEachInterface(bus_.get(),
                   [&](sd_bus_message* message, std::string_view path, std::string_view interface) {
                     if (interface != "org.bluez.Device1" || !path.starts_with("/org/bluez/hci0/"))
                       return false;
                     devices.push_back({std::string(path), "", false});
                     readDevice(message, devices.back());
                     return true;
                   });
  return devices;
}

bool BlueZ::isAcquired(const std::string& uuid) const {
  const std::string wanted = longForm(uuid);
  bool isAcquired = false;
  forEachInterface(bus_.get(),
                   [&](sd_bus_message* message, std::string_view, std::string_view interface) {
                     if (interface != "org.bluez.GattCharacteristic1") return false;
                     isAcquired |= readIsAcquired(message, wanted);
                     return true;
                   });
  return isAcquired;
}

std::string BlueZ::pathOfCharacteristic(const std::string& uuid) const {
  const std::string wanted = longForm(uuid);
  std::string path;
  forEachInterface(bus_.get(), [&](sd_bus_message* message, std::string_view object,
                                   std::string_view interface) {
    if (interface != "org.bluez.GattCharacteristic1") return false;
    forEachEntry(message, 's', "sv", [&](std::string_view property) {
      if (property != "UUID") return void(check(sd_bus_message_skip(message, "v"), "skip"));
      if (wanted == readVariant<const char*>(message, "s")) path = object;
    });
    return true;
  });
  return path;
}

std::string BlueZ::acquire(const std::string& uuid, Limit limit) const {
  const std::string path = pathOfCharacteristic(uuid);
  sd_bus_message* call = nullptr;
  check(sd_bus_message_new_method_call(bus_.get(), &call, service, path.c_str(),
                                       "org.bluez.GattCharacteristic1", "AcquireNotify"),
        "AcquireNotify");
  const Message ownCall(call);
  check(sd_bus_message_append(call, "a{sv}", 0), "AcquireNotify");
  sd_bus_message* reply = nullptr;
  Failure failure;
  const auto microseconds = std::chrono::microseconds(limit).count();
  const int result = sd_bus_call(bus_.get(), call, static_cast<std::uint64_t>(microseconds),
                                 failure.get(), &reply);
  const Message ownReply(reply);
  if (result == -ETIMEDOUT) return kNoAnswer;
  return result < 0 ? failure.get()->name : "";
}

std::string BlueZ::connectDevice() {
  const auto call = [this](const std::string& path, const char* interface, const char* member) {
    check(sd_bus_call_method(bus_.get(), service, path.c_str(), interface, member, nullptr, nullptr,
                             ""),
          member);
  };
  call(pathOf("hci0"), adapterInterface, "StartDiscovery");
  waitUntil([this] { return !devices().empty(); });
  const std::string path = devices().at(0).path;
  call(path, "org.bluez.Device1", "Connect");
  call(pathOf("hci0"), adapterInterface, "StopDiscovery");
  return path;
}

bool BlueZ::takesBatteries() const {
  bool isFound = false;
  forEachInterface(bus_.get(), [&](sd_bus_message*, std::string_view, std::string_view interface) {
    isFound |= interface == batteryManager;
    return false;
  });
  return isFound;
}

void BlueZ::provideBattery(const std::string& devicePath, std::uint8_t level) {
  const bool isNew = battery_.device.empty();
  battery_ = {devicePath, level};
  if (!isNew) {
    check(sd_bus_emit_properties_changed(bus_.get(), batteryObject, batteryProvider, "Percentage",
                                         nullptr),
          "battery level");
    return;
  }
  check(sd_bus_add_object_manager(bus_.get(), nullptr, batteryRoot), batteryRoot);
  check(sd_bus_add_object_vtable(bus_.get(), nullptr, batteryObject, batteryProvider,
                                 batteryProperties, &battery_),
        batteryObject);
  check(sd_bus_call_method(bus_.get(), service, pathOf("hci0").c_str(), batteryManager,
                           "RegisterBatteryProvider", nullptr, nullptr, "o", batteryRoot),
        "RegisterBatteryProvider");
}

std::optional<std::uint8_t> BlueZ::batteryOf(const std::string& devicePath) const {
  std::uint8_t level = 0;
  if (sd_bus_get_property_trivial(bus_.get(), service, devicePath.c_str(), "org.bluez.Battery1",
                                  "Percentage", nullptr, 'y', &level) < 0) {
    return std::nullopt;
  }
  return level;
}

pid_t BlueZ::busProcess() const {
  sd_bus_message* reply = nullptr;
  check(sd_bus_call_method(bus_.get(), daemonName, "/org/freedesktop/DBus", daemonName,
                           "GetConnectionUnixProcessID", nullptr, &reply, "s", daemonName),
        "GetConnectionUnixProcessID");
  const Message owner(reply);
  std::uint32_t process = 0;
  check(sd_bus_message_read(reply, "u", &process), "process");
  return static_cast<pid_t>(process);
}

void BlueZ::reloadBusConfiguration() const {
  Failure failure;
  check(sd_bus_call_method(bus_.get(), daemonName, "/org/freedesktop/DBus", daemonName,
                           "ReloadConfig", failure.get(), nullptr, ""),
        "ReloadConfig");
}

}  // namespace stack
