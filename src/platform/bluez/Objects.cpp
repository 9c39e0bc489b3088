#include "platform/bluez/Objects.h"

#include <charconv>
#include <cstring>

#include "platform/bluez/Bus.h"

namespace platform::bluez {

namespace {

// The readers below return false when the message cannot be read any further.

// Reads a dictionary whose keys are texts. onEntry has to read the value of each entry.
template <typename OnEntry>
bool readDictionary(sd_bus_message* message, const char* entryType, const char* arrayType,
                    const OnEntry& onEntry) {
  if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, arrayType) <= 0) return false;
  int more = 0;
  while ((more = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, entryType)) > 0) {
    const char* key = nullptr;
    if (sd_bus_message_read_basic(message, entryType[0], &key) <= 0) return false;
    if (!onEntry(std::string_view(key))) return false;
    if (sd_bus_message_exit_container(message) < 0) return false;
  }
  return more == 0 && sd_bus_message_exit_container(message) >= 0;
}

// Enters the next variant if it contains this type, else skips it.
bool enterVariant(sd_bus_message* message, const char* type, bool& entered) {
  const char* contents = nullptr;
  char outer = 0;
  if (sd_bus_message_peek_type(message, &outer, &contents) <= 0) return false;
  entered = outer == SD_BUS_TYPE_VARIANT && contents != nullptr && std::strcmp(contents, type) == 0;
  if (!entered) return sd_bus_message_skip(message, "v") >= 0;
  return sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, type) > 0;
}

// Reads a variant of one basic type; skips one of any other type.
template <typename Read>
bool readVariant(sd_bus_message* message, const char* type, const Read& read) {
  bool entered = false;
  if (!enterVariant(message, type, entered)) return false;
  return !entered || (read() && sd_bus_message_exit_container(message) >= 0);
}

bool readBoolean(sd_bus_message* message, std::optional<bool>& out) {
  return readVariant(message, "b", [&] {
    int value = 0;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_BOOLEAN, &value) <= 0) return false;
    out = value != 0;
    return true;
  });
}

bool readByte(sd_bus_message* message, std::optional<std::uint8_t>& out) {
  return readVariant(message, "y", [&] {
    std::uint8_t value = 0;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_BYTE, &value) <= 0) return false;
    out = value;
    return true;
  });
}

bool readText(sd_bus_message* message, std::optional<std::string_view>& out) {
  return readVariant(message, "s", [&] {
    const char* value = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &value) <= 0) return false;
    out = value;
    return true;
  });
}

bool readUuid(sd_bus_message* message, std::optional<CBUUID>& out) {
  std::optional<std::string_view> text;
  if (!readText(message, text)) return false;
  if (text) out = CBUUID::parse(*text);
  return true;
}

bool readByteArray(sd_bus_message* message, std::optional<Value>& out) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &bytes, &size) < 0) return false;
  if (size <= kLargestValue) out = Value(static_cast<const std::uint8_t*>(bytes), size);
  return true;
}

bool readValue(sd_bus_message* message, std::optional<Value>& out) {
  return readVariant(message, "ay", [&] { return readByteArray(message, out); });
}

bool skipVariant(sd_bus_message* message) {
  return sd_bus_message_skip(message, "v") >= 0;
}

// sd-bus (252) refuses to read a text with a noncharacter, such as U+FFFF, and then the rest of the
// message. UTF-8 allows noncharacters, and BlueZ and the bus daemon pass them on, so any device
// nearby could hide all others by its name. Each is replaced by U+FFFD, or the corresponding scalar
// of its plane, which has the same length.
void replaceNoncharacters(char* text) {
  const auto at = [&text](int index) { return static_cast<unsigned char>(text[index]); };
  for (; *text != '\0'; ++text) {
    if (at(0) == 0xEF && at(1) == 0xB7 && at(2) >= 0x90 && at(2) <= 0xAF) {
      std::memcpy(text, "\xEF\xBF\xBD", 3);
    } else if ((at(0) & 0x0F) == 0x0F && at(1) == 0xBF && at(2) >= 0xBE && at(2) <= 0xBF) {
      text[2] = '\xBD';
    }
  }
}

// sd-bus does not give access to the text of an entry before it has checked it. In the message it
// follows the entry's key: the key's zero, the variant's signature in three bytes, padding to a
// multiple of four, the text's length, the text. The bus daemon has checked that it ends with a
// zero.
void makeReadable(sd_bus_message* message, std::string_view key) {
  const char* contents = nullptr;
  char outer = 0;
  if (sd_bus_message_peek_type(message, &outer, &contents) <= 0 || outer != SD_BUS_TYPE_VARIANT ||
      contents == nullptr || std::strcmp(contents, "s") != 0) {
    return;
  }
  const char* signatureEnd = key.data() + key.size() + 1 + 3;
  const std::uintptr_t padding = -reinterpret_cast<std::uintptr_t>(signatureEnd) % 4;
  replaceNoncharacters(const_cast<char*>(signatureEnd + padding + 4));
}

template <typename OnProperty>
bool readProperties(sd_bus_message* message, const OnProperty& onProperty) {
  return readDictionary(message, "sv", "{sv}", [&](std::string_view name) {
    makeReadable(message, name);
    return onProperty(name);
  });
}

bool readAdapter(sd_bus_message* message, AdapterProperties& adapter) {
  return readProperties(message, [&](std::string_view name) {
    if (name == "Powered") return readBoolean(message, adapter.powered);
    if (name == "Address") return readText(message, adapter.address);
    return skipVariant(message);
  });
}

bool readDevice(sd_bus_message* message, DeviceProperties& device) {
  return readProperties(message, [&](std::string_view name) {
    if (name == "RSSI") device.wasSeen = true;
    if (name == "Name") return readText(message, device.name);
    if (name == "Connected") return readBoolean(message, device.connected);
    if (name == "ServicesResolved") return readBoolean(message, device.servicesResolved);
    return skipVariant(message);
  });
}

bool readService(sd_bus_message* message, ServiceProperties& service) {
  std::optional<bool> isPrimary;
  const bool isRead = readProperties(message, [&](std::string_view name) {
    if (name == "UUID") return readUuid(message, service.uuid);
    if (name == "Primary") return readBoolean(message, isPrimary);
    return skipVariant(message);
  });
  service.isPrimary = isPrimary.value_or(true);
  return isRead;
}

bool readCharacteristic(sd_bus_message* message, CharacteristicProperties& characteristic) {
  return readProperties(message, [&](std::string_view name) {
    if (name == "UUID") return readUuid(message, characteristic.uuid);
    if (name == "Value") return readValue(message, characteristic.value);
    return skipVariant(message);
  });
}

bool readBattery(sd_bus_message* message, BatteryProperties& battery) {
  return readProperties(message, [&](std::string_view name) {
    if (name == "Percentage") return readByte(message, battery.percentage);
    return skipVariant(message);
  });
}

bool readInterface(sd_bus_message* message, std::string_view interface, Object& object) {
  if (interface == kAdapterInterface) return readAdapter(message, object.adapter.emplace());
  if (interface == kDeviceInterface) return readDevice(message, object.device.emplace());
  if (interface == kServiceInterface) return readService(message, object.service.emplace());
  if (interface == kCharacteristicInterface) {
    return readCharacteristic(message, object.characteristic.emplace());
  }
  if (interface == kBatteryInterface) return readBattery(message, object.battery.emplace());
  return readProperties(message, [&](std::string_view) { return skipVariant(message); });
}

bool readInterfaces(sd_bus_message* message, Object& object) {
  return readDictionary(message, "sa{sv}", "{sa{sv}}", [&](std::string_view interface) {
    return readInterface(message, interface, object);
  });
}

bool readPath(sd_bus_message* message, std::string_view& path) {
  const char* text = nullptr;
  if (sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &text) <= 0) return false;
  path = text;
  return true;
}

// sd-bus checks types only as far as they are read, so the whole signature is checked first.
bool hasSignature(sd_bus_message* message, const char* signature) {
  return sd_bus_message_has_signature(message, signature) > 0;
}

}  // namespace

std::optional<std::vector<Object>> parseManagedObjects(sd_bus_message* reply) {
  std::vector<Object> objects;
  if (!hasSignature(reply, "a{oa{sa{sv}}}")) return std::nullopt;
  const bool isRead =
      readDictionary(reply, "oa{sa{sv}}", "{oa{sa{sv}}}", [&](std::string_view path) {
        Object& object = objects.emplace_back();
        object.path = path;
        return readInterfaces(reply, object);
      });
  if (!isRead) return std::nullopt;
  return objects;
}

std::optional<Object> parseInterfacesAdded(sd_bus_message* signal) {
  Object object;
  if (!hasSignature(signal, "oa{sa{sv}}") || !readPath(signal, object.path) ||
      !readInterfaces(signal, object)) {
    return std::nullopt;
  }
  return object;
}

std::optional<RemovedObject> parseInterfacesRemoved(sd_bus_message* signal) {
  RemovedObject object;
  if (!hasSignature(signal, "oas") || !readPath(signal, object.path)) return std::nullopt;
  if (sd_bus_message_enter_container(signal, SD_BUS_TYPE_ARRAY, "s") <= 0) return std::nullopt;
  const char* name = nullptr;
  int more = 0;
  while ((more = sd_bus_message_read_basic(signal, SD_BUS_TYPE_STRING, &name)) > 0) {
    const std::string_view interface = name;
    object.adapter |= interface == kAdapterInterface;
    object.device |= interface == kDeviceInterface;
    object.characteristic |= interface == kCharacteristicInterface;
  }
  if (more < 0) return std::nullopt;
  return object;
}

std::optional<Object> parsePropertiesChanged(sd_bus_message* signal) {
  Object object;
  const char* path = sd_bus_message_get_path(signal);
  const char* interface = nullptr;
  if (path == nullptr || !hasSignature(signal, "sa{sv}as") ||
      sd_bus_message_read_basic(signal, SD_BUS_TYPE_STRING, &interface) <= 0) {
    return std::nullopt;
  }
  object.path = path;
  if (!readInterface(signal, interface, object)) return std::nullopt;
  return object;
}

std::optional<Value> parseValue(sd_bus_message* reply) {
  std::optional<Value> value;
  if (!hasSignature(reply, "ay") || !readByteArray(reply, value)) return std::nullopt;
  return value;
}

std::optional<std::uint8_t> parsePercentage(sd_bus_message* reply) {
  std::optional<std::uint8_t> percentage;
  if (!hasSignature(reply, "v") || !readByte(reply, percentage)) return std::nullopt;
  return percentage;
}

std::optional<unsigned> handleIn(std::string_view path, std::string_view name) {
  const std::string_view last = path.substr(path.rfind('/') + 1);
  if (!last.starts_with(name)) return std::nullopt;
  const std::string_view digits = last.substr(name.size());
  unsigned handle = 0;
  const auto [end, failure] =
      std::from_chars(digits.data(), digits.data() + digits.size(), handle, 16);
  if (failure != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return handle;
}

std::string_view parentOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

}  // namespace platform::bluez
