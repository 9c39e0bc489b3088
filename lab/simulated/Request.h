// A request of the bridge to a device, as it waits in the queue.
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
  std::vector<CBUUID> identifiers{};  // of a discovery: what to look for
  Bytes value{};                      // of a write
};

}  // namespace platform::simulated
