// What the bridge knows of a device family before a value comes: how its devices are named, and
// what it does about each of their characteristics. Each handler has one, at the top of its file.
// ComBLE picks and connects devices by it, and DeviceHandler sets them up by it.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

class DeviceHandler;

// What is done about a characteristic as soon as it has been discovered.
enum class Use : std::uint8_t { keep, read, subscribe, readThenSubscribe };

// Where a handler keeps a characteristic for the host's commands, which come on another thread.
// Null until it has been discovered.
using KeptCharacteristic = std::atomic<platform::CBCharacteristic*>;

struct KnownCharacteristic {
  platform::CBUUID service;  // that it is asked for in
  platform::CBUUID uuid;
  Use use;
  KeptCharacteristic DeviceHandler::*keptIn = nullptr;  // filled before anything is requested
};

struct Family {
  std::span<const std::string_view> names;  // beginnings, in lower case
  // A device is asked for the services, and for the characteristics of each, in this order.
  std::span<const KnownCharacteristic> characteristics;
  std::string_view announcement = {};  // payload sent when a device is accepted; empty: none
  bool logsUnknownServices = false;
};

// Whether a device whose name has this lower case is one of the family's.
bool isNamed(const Family& family, std::string_view key);

// The services of the characteristics, each once, in the order in which they first come.
std::vector<platform::CBUUID> servicesOf(std::span<const KnownCharacteristic> characteristics);
