// Which of the machine's adapters the bridge may use.
#pragma once

#include <string>
#include <string_view>

namespace platform::bluez {

class AdapterChoice {
 public:
  // The choice in the environment variable VORNIX_ADAPTER.
  static AdapterChoice fromEnvironment();

  // wanted: an adapter's name (hci1) or address (00:11:22:33:44:55), in either case. Empty: any.
  explicit AdapterChoice(std::string_view wanted) : wanted_(wanted) {}

  bool isAny() const { return wanted_.empty(); }

  // path: that of BlueZ's object for the adapter.
  bool admits(std::string_view path, std::string_view address) const;

 private:
  std::string wanted_;
};

}  // namespace platform::bluez
