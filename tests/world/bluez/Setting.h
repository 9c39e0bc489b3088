// What a session has of BlueZ: bluetoothd's habits, and what there is of adapters.
#pragma once

#include <string>
#include <vector>

#include "lab/bluetoothd/Bluetoothd.h"
#include "tests/world/Plan.h"

namespace world {

struct Setting {
  lab::Traits traits;
  bool deniesAccess = false;
  bool deniesDiscovery = false;
  bool isStackThere = true;
  bool discoversForAnother = false;
  std::vector<bool> adapters = {true};  // whether each is powered
  std::string onlyAdapter;              // that the user lets the bridge use; empty for any
};

}  // namespace world
