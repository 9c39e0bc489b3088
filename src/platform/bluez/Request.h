// A request of the bridge to a peripheral.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/CBUUID.h"

namespace platform::bluez {

class Characteristic;
class Service;

struct Request {
  enum class Kind {
    discoverServices,
    discoverCharacteristics,
    read,
    subscribe,
    unsubscribe,
    write
  };

  Kind kind;
  Service* service = nullptr;                // discoverCharacteristics
  Characteristic* characteristic = nullptr;  // read, subscribe, unsubscribe, write
  std::vector<CBUUID> identifiers{};         // of the discoveries
  std::vector<std::uint8_t> bytes{};         // write
};

}  // namespace platform::bluez
