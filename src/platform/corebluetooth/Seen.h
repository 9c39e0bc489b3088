// Remembers which devices a scan has reported: each is reported once, and again when its name
// becomes known, while the framework reports it at each advertisement. Main thread.
#pragma once

#include <cstddef>
#include <map>

#include "platform/corebluetooth/Identifier.h"

namespace platform::corebluetooth {

class Seen {
 public:
  // Whether the device has to be reported; it then counts as reported.
  bool isNews(const Identifier& device, bool hasName);
  void clear();

 private:
  // Devices that change their address count as new ones. A device that is not heard while this many
  // others are is forgotten, which limits the memory.
  static constexpr std::size_t kLimit = 4096;

  std::map<Identifier, bool> recent_;  // true: reported with a name
  std::map<Identifier, bool> before_;
};

}  // namespace platform::corebluetooth
