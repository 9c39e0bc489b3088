// BlueZ's objects as values, and the signals that tell of them.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/bluetoothd/MessageBus.h"

namespace lab {

using Property = std::variant<bool, std::uint8_t, std::int16_t, std::string, Bytes>;
using Properties = std::map<std::string, Property>;
using Interfaces = std::map<std::string, Properties>;  // of one object

// As v, a{sv} and a{sa{sv}}. A text may have noncharacters, as BlueZ passes them on.
void append(sd_bus_message* message, const Property& property);
void append(sd_bus_message* message, const Properties& properties);
void append(sd_bus_message* message, const Interfaces& interfaces);

// Each is sent if the program has a match rule for it.
void signalChange(MessageBus& bus, const std::string& path, const std::string& interface,
                  const Properties& changed);
// appendInterfaces writes a{sa{sv}}.
void signalAdded(MessageBus& bus, const std::string& path,
                 const std::function<void(sd_bus_message*)>& appendInterfaces);
void signalRemoved(MessageBus& bus, const std::string& path,
                   const std::vector<std::string>& interfaces);

}  // namespace lab
