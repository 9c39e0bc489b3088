// What the bridge asks of a device, as it waits for its turn.
#pragma once

#include <vector>

#include "lab/simulated/Device.h"

namespace platform::simulated {

class Service;
class Characteristic;

struct Request {
  RequestKind kind;
  Service* service = nullptr;
  Characteristic* characteristic = nullptr;
  std::vector<CBUUID> identifiers{};  // what a discovery looks for
  Bytes value{};                      // what a write writes
};

}  // namespace platform::simulated
