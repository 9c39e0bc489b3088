// The description of a device family: the names of its devices, and what is done with each of their
// characteristics. Each handler defines one, at the top of its file. By it ComBLE picks and
// connects devices, and DeviceHandler sets them up.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

class DeviceHandler;

// What is done with a characteristic as soon as it has been discovered.
enum class Use : std::uint8_t { keep, read, subscribe, readThenSubscribe };

// A characteristic that a handler keeps for the host's commands, which use it on the reader thread.
// Null until it has been discovered.
using KeptCharacteristic = std::atomic<platform::CBCharacteristic*>;

struct KnownCharacteristic {
  platform::CBUUID service;  // the service in which it is looked for
  platform::CBUUID uuid;
  Use use;
  KeptCharacteristic DeviceHandler::*keptIn = nullptr;  // set before any request for it is made
};

struct Family {
  std::span<const std::string_view> names;  // prefixes of the devices' names, in lower case
  // Services, and the characteristics of each, are asked for in this order.
  std::span<const KnownCharacteristic> characteristics;
  std::string_view announcement = {};  // payload sent when a device is accepted; empty: none
  bool logsUnknownServices = false;
};

// Whether a device belongs to the family. key: its name in lower case.
bool isNamed(const Family& family, std::string_view key);

// The services of the characteristics, each once, in the order of their first mention.
std::vector<platform::CBUUID> servicesOf(std::span<const KnownCharacteristic> characteristics);
