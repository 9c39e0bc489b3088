#include "contract/Traffic.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>
#include <stdexcept>

namespace contract {
namespace {

constexpr const char* kAdapter = "org.bluez.Adapter1";
constexpr const char* kDevice = "org.bluez.Device1";
constexpr const char* kService = "org.bluez.GattService1";
constexpr const char* kCharacteristic = "org.bluez.GattCharacteristic1";

// What is compared: these properties of these interfaces. The others the bridge does not read, and
// the model has few of them.
const std::map<std::string, std::set<std::string>> kCompared{
    {kAdapter, {"Powered", "Discovering"}},
    {kDevice, {"Name", "RSSI", "Connected", "ServicesResolved"}},
    {kService, {"UUID", "Primary"}},
    {kCharacteristic, {"UUID", "Value"}},
};

// Throws what sd-bus refuses.
int check(int result) {
  if (result < 0) throw std::runtime_error(std::string("message: ") + std::strerror(-result));
  return result;
}

// The model's bus has one client, which has no name.
std::string nameOr(const char* name) {
  return name != nullptr ? name : "";
}

std::string textOf(const void* bytes, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    char digits[4];
    std::snprintf(digits, sizeof digits, i == 0 ? "%02x" : " %02x",
                  static_cast<const std::uint8_t*>(bytes)[i]);
    text += digits;
  }
  return "[" + text + "]";
}

// Some of libdbus's messages end with a line feed.
std::string onOneLine(std::string text) {
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
    text.replace(at, 1, "\\n");
  }
  return text;
}

std::string readBytes(sd_bus_message* message) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  check(sd_bus_message_read_array(message, 'y', &bytes, &size));
  return textOf(bytes, size);
}

// A variant of a type that a compared property has.
std::string readVariant(sd_bus_message* message) {
  const char* contents = nullptr;
  char outer = 0;
  check(sd_bus_message_peek_type(message, &outer, &contents));
  const std::string type = contents;
  check(sd_bus_message_enter_container(message, 'v', contents));
  std::string value;
  if (type == "b") {
    int flag = 0;
    check(sd_bus_message_read_basic(message, 'b', &flag));
    value = flag != 0 ? "true" : "false";
  } else if (type == "s") {
    const char* text = nullptr;
    check(sd_bus_message_read_basic(message, 's', &text));
    value = text;
  } else if (type == "n") {
    std::int16_t number = 0;
    check(sd_bus_message_read_basic(message, 'n', &number));
    value = std::to_string(number);
  } else if (type == "ay") {
    value = readBytes(message);
  } else {
    throw std::runtime_error("a property of the type " + type);
  }
  check(sd_bus_message_exit_container(message));
  return value;
}

// onEntry reads the value of each entry of a dictionary.
template <typename OnEntry>
void readDictionary(sd_bus_message* message, const std::string& entry, const OnEntry& onEntry) {
  check(sd_bus_message_enter_container(message, 'a', ("{" + entry + "}").c_str()));
  while (check(sd_bus_message_enter_container(message, 'e', entry.c_str())) > 0) {
    const char* key = nullptr;
    check(sd_bus_message_read_basic(message, entry[0], &key));
    onEntry(std::string(key));
    check(sd_bus_message_exit_container(message));
  }
  check(sd_bus_message_exit_container(message));
}

std::map<std::string, std::string> readProperties(sd_bus_message* message,
                                                  const std::string& interface) {
  std::map<std::string, std::string> properties;
  const auto compared = kCompared.find(interface);
  readDictionary(message, "sv", [&](const std::string& name) {
    if (compared != kCompared.end() && compared->second.contains(name)) {
      properties[name] = readVariant(message);
    } else {
      check(sd_bus_message_skip(message, "v"));
    }
  });
  return properties;
}

std::string listOf(const std::map<std::string, std::string>& properties) {
  std::string list;
  for (const auto& [name, value] : properties) list += " " + name + "=" + value;
  return list;
}

std::string shortened(const std::string& interface) {
  return interface.substr(interface.rfind('.') + 1);
}

std::string readArguments(sd_bus_message* call, const std::string& member) {
  if (member == "WriteValue") return " " + readBytes(call);
  if (member != "Get") return "";
  const char* interface = nullptr;
  const char* name = nullptr;
  check(sd_bus_message_read(call, "ss", &interface, &name));
  return std::string(" ") + name;
}

}  // namespace

void Traffic::beginStep(const std::string& name) {
  steps_.push_back({name, {}, {}, {}, {}});
}

void Traffic::add(sd_bus_message* message) {
  check(sd_bus_message_rewind(message, 1));
  std::uint8_t type = 0;
  check(sd_bus_message_get_type(message, &type));
  if (type == SD_BUS_MESSAGE_METHOD_CALL) {
    addCall(message);
  } else if (type == SD_BUS_MESSAGE_SIGNAL) {
    addSignal(message);
  } else {
    addAnswer(message);
  }
  check(sd_bus_message_rewind(message, 1));
}

void Traffic::addCall(sd_bus_message* call) {
  const std::string member = sd_bus_message_get_member(call);
  const std::string path = sd_bus_message_get_path(call);
  const std::string line = member + (path == "/" ? "" : " " + path) + readArguments(call, member);
  std::uint64_t number = 0;
  check(sd_bus_message_get_cookie(call, &number));
  calls_[{nameOr(sd_bus_message_get_sender(call)), number}] = line;
  steps_.back().calls.push_back({line});
}

void Traffic::addAnswer(sd_bus_message* answer) {
  std::uint64_t number = 0;
  check(sd_bus_message_get_reply_cookie(answer, &number));
  const auto call = calls_.extract({nameOr(sd_bus_message_get_destination(answer)), number});
  if (call.empty()) return;
  const std::string& line = call.mapped();
  if (const sd_bus_error* error = sd_bus_message_get_error(answer)) {
    return tell(line + " fails: " + error->name + ", " + onOneLine(error->message));
  }
  if (line.find("Discovery") != std::string::npos) {
    Lines& lines = steps_.back().ofDiscovery;
    auto place = lines.end();
    // The order of these two is the kernel's, and 5.55 and 5.82 were seen to have either.
    const bool isStop = line.starts_with("StopDiscovery ");
    const std::string path = line.substr(line.find(' ') + 1);
    if (isStop && !lines.empty() && lines.back().front() == path + " Discovering=false") --place;
    lines.insert(place, {line + " is done"});
  } else if (line == "GetManagedObjects") {
    tell(line + " gives");
    for (const std::string& object : readAllObjects(answer)) {
      steps_.back().told.back().push_back("  " + object);
    }
  } else if (line.starts_with("ReadValue ")) {
    tell(line + " gives " + readBytes(answer));
  } else if (line.starts_with("Get ")) {
    steps_.back().answeredAtOnce.push_back({line + " gives " + readVariant(answer)});
  } else {
    tell(line + (sd_bus_message_has_signature(answer, "hq") > 0 ? " gives a socket" : " is done"));
  }
}

void Traffic::addSignal(sd_bus_message* signal) {
  const std::string member = sd_bus_message_get_member(signal);
  std::string path = sd_bus_message_get_path(signal);
  if (member == "PropertiesChanged") {
    const std::string change = readChange(signal, path);
    const bool isOfDiscovery =
        change == path + " Discovering=true" || change == path + " Discovering=false";
    if (isOfDiscovery) steps_.back().ofDiscovery.push_back({change});
    if (!isOfDiscovery && !change.empty()) tell(change);
    return;
  }
  if (member == "NameOwnerChanged") {
    const char* owner = nullptr;
    check(sd_bus_message_read(signal, "sss", nullptr, nullptr, &owner));
    return tell(*owner != '\0' ? "bluetoothd begins" : "bluetoothd ends");
  }
  if (member != "InterfacesAdded" && member != "InterfacesRemoved") return;
  const char* object = nullptr;
  check(sd_bus_message_read_basic(signal, 'o', &object));
  path = object;
  if (member == "InterfacesAdded") {
    const std::string added = readObject(signal, path);
    if (!added.empty()) tell("added " + path + added);
    return;
  }
  check(sd_bus_message_enter_container(signal, 'a', "s"));
  const char* interface = nullptr;
  while (check(sd_bus_message_read_basic(signal, 's', &interface)) > 0) {
    if (kCompared.contains(interface)) tell("removed " + path + " " + shortened(interface));
  }
}

// Nothing of what is compared: empty.
std::string Traffic::readChange(sd_bus_message* signal, const std::string& path) {
  const char* interface = nullptr;
  check(sd_bus_message_read_basic(signal, 's', &interface));
  auto properties = readProperties(signal, interface);
  if (const auto name = properties.find("Name"); name != properties.end()) {
    names_[path] = name->second;
  }
  // How often a device is heard, and how well, is the air's business.
  properties.erase("RSSI");
  return properties.empty() ? "" : path + listOf(properties);
}

std::string Traffic::readInterface(sd_bus_message* message, const std::string& path,
                                   const std::string& interface) {
  auto properties = readProperties(message, interface);
  if (!kCompared.contains(interface)) return "";
  if (properties.contains("Name")) names_[path] = properties["Name"];
  if (interface == kAdapter) names_[path] = "adapter";
  // Handles are the devices' business. The first digits tell the identifiers apart.
  if (const auto identifier = properties.extract("UUID")) {
    names_[path] = identifier.mapped().substr(0, 8);
  }
  if (properties.contains("RSSI")) properties["RSSI"] = "some";
  return " " + shortened(interface) + listOf(properties);
}

std::string Traffic::readObject(sd_bus_message* message, const std::string& path) {
  std::string interfaces;
  readDictionary(message, "sa{sv}", [&](const std::string& interface) {
    interfaces += readInterface(message, path, interface);
  });
  return interfaces;
}

std::vector<std::string> Traffic::readAllObjects(sd_bus_message* message) {
  std::vector<std::string> objects;
  readDictionary(message, "oa{sa{sv}}", [&](const std::string& path) {
    const std::string interfaces = readObject(message, path);
    if (!interfaces.empty()) objects.push_back(path + interfaces);
  });
  return objects;
}

std::string Traffic::named(std::string line) const {
  // From the last path to the first, so that an object comes before those whose path it begins
  // with.
  for (auto each = names_.rbegin(); each != names_.rend(); ++each) {
    const std::size_t at = line.find(each->first);
    if (at != std::string::npos) line.replace(at, each->first.size(), each->second);
  }
  return line;
}

std::string Traffic::textOf(const char* mark, const Lines& lines) const {
  std::string text;
  for (const std::vector<std::string>& line : lines) {
    std::vector<std::string> written;
    for (const std::string& part : line) written.push_back(mark + named(part) + "\n");
    // The objects of a list in an order of their own: BlueZ's is the opposite of what one would
    // expect, and the bridge does not rely on it.
    std::sort(written.begin() + 1, written.end());
    for (const std::string& part : written) text += part;
  }
  return text;
}

std::string Traffic::text() const {
  std::string text;
  for (auto step = steps_.begin() + 1; step != steps_.end(); ++step) {
    text += "== " + step->name + "\n" + textOf("> ", step->calls) +
            textOf("< ", step->answeredAtOnce) + textOf("< ", step->ofDiscovery) +
            textOf("< ", step->told);
  }
  return text;
}

}  // namespace contract
