#include "lab/bluetoothd/BusObjects.h"

#include <algorithm>
#include <utility>

#include "lab/bluetoothd/BusTypes.h"

namespace lab {
namespace {

template <class Write>
void within(sd_bus_message* message, char kind, const char* contents, const Write& write) {
  sd_bus_message_open_container(message, kind, contents);
  write();
  sd_bus_message_close_container(message);
}

// An array of dictionary entries: a name, and what it stands for.
template <class Map>
void appendEntries(sd_bus_message* message, const std::string& entry, const Map& map) {
  within(message, 'a', ("{" + entry + "}").c_str(), [&] {
    for (const auto& each : map) {
      within(message, 'e', entry.c_str(), [&] {
        sd_bus_message_append(message, "s", each.first.c_str());
        append(message, each.second);
      });
    }
  });
}

struct Append {
  sd_bus_message* message;
  void operator()(bool value) const { sd_bus_message_append(message, "v", "b", value ? 1 : 0); }
  void operator()(std::uint8_t value) const { sd_bus_message_append(message, "v", "y", value); }
  void operator()(std::int16_t value) const { sd_bus_message_append(message, "v", "n", value); }
  // sd-bus refuses to write noncharacters, so they are written over its text.
  void operator()(const std::string& value) const {
    within(message, 'v', "s", [&] {
      char* place = nullptr;
      sd_bus_message_append_string_space(message, value.size(), &place);
      std::ranges::copy(value, place);
    });
  }
  void operator()(const Bytes& value) const {
    within(message, 'v', "ay",
           [&] { sd_bus_message_append_array(message, 'y', value.data(), value.size()); });
  }
};

}  // namespace

void append(sd_bus_message* message, const Property& property) {
  std::visit(Append{message}, property);
}

void append(sd_bus_message* message, const Properties& properties) {
  appendEntries(message, "sv", properties);
}

void append(sd_bus_message* message, const Interfaces& interfaces) {
  appendEntries(message, "sa{sv}", interfaces);
}

void signalChange(MessageBus& bus, const std::string& path, const std::string& interface,
                  const Properties& changed) {
  BusMessage signal = bus.newSignal(path, kPropertiesInterface, "PropertiesChanged");
  if (signal == nullptr) return;
  sd_bus_message_append(signal.get(), "s", interface.c_str());
  append(signal.get(), changed);
  sd_bus_message_append(signal.get(), "as", 0);
  bus.sendSignal(std::move(signal), interface.c_str());
}

void signalAdded(MessageBus& bus, const std::string& path,
                 const std::function<void(sd_bus_message*)>& appendInterfaces) {
  BusMessage signal = bus.newSignal("/", kObjectManagerInterface, "InterfacesAdded");
  if (signal == nullptr) return;
  sd_bus_message_append(signal.get(), "o", path.c_str());
  appendInterfaces(signal.get());
  bus.sendSignal(std::move(signal));
}

void signalRemoved(MessageBus& bus, const std::string& path,
                   const std::vector<std::string>& interfaces) {
  BusMessage signal = bus.newSignal("/", kObjectManagerInterface, "InterfacesRemoved");
  if (signal == nullptr) return;
  sd_bus_message_append(signal.get(), "o", path.c_str());
  within(signal.get(), 'a', "s", [&] {
    for (const std::string& each : interfaces)
      sd_bus_message_append(signal.get(), "s", each.c_str());
  });
  bus.sendSignal(std::move(signal));
}

}  // namespace lab
