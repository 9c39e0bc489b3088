// What a session has of macOS: what its framework does worse than it has to, and what a person says
// who is asked whether the bridge may use Bluetooth.
#pragma once

#include <chrono>

#include "tests/world/Plan.h"

namespace world {

struct Setting {
  bool tellsLinksTwice = false;
  bool failsWaitingRequests = false;  // when a link is lost
  bool advertisesOtherNames = false;  // that no device has
  bool isOff = false;                 // from the beginning
  bool hasRadio = true;
  bool asksPerson = false;
  bool isUnauthorizedMeanwhile = false;  // else unknown
  bool isAllowed = true;
  Microseconds answer{0};
};

}  // namespace world
