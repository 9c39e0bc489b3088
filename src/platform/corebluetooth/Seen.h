// Which devices a scan has reported: once each, and again when a name has become known. The
// framework reports a device at each of its advertisements. Main thread.
#pragma once

#include <cstddef>
#include <map>

#include "platform/corebluetooth/Identifier.h"

namespace platform::corebluetooth {

class Seen {
 public:
  // Whether the device is to be reported; from now on it has been.
  bool isNews(const Identifier& device, bool hasName);
  void clear();

 private:
  // Devices change their address, and are others then. Those that have not been heard of while so
  // many others were are forgotten.
  static constexpr std::size_t kLimit = 4096;

  std::map<Identifier, bool> recent_;  // whether with a name
  std::map<Identifier, bool> before_;
};

}  // namespace platform::corebluetooth
