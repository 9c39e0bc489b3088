#import "tests/world/corebluetooth/AirRadio.h"

#import <CoreBluetooth/CoreBluetooth.h>

namespace world {

using namespace std::chrono_literals;

AirRadio::AirRadio(const lab::Agenda& agenda, const standin::Air& air) : Radio(agenda), air_(air) {
  habits.reportsLinks = false;
  habits.discoversForLinks = false;
  habits.tellsEveryState = true;
  habits.settling = 2s;
  habits.setUp = 31s;  // after 30 the link ends
}

bool AirRadio::isToBeTold(std::size_t situation) const {
  return situations()[situation].state != kSettling;
}

std::optional<bool> AirRadio::isDiscovering() const {
  const bool isOn = air_.state() == CBManagerStatePoweredOn;
  return isOn ? std::optional(air_.isScanning()) : std::nullopt;
}

std::string AirRadio::situation() {
  const bool isRefused = air_.authorization == CBManagerAuthorizationDenied ||
                         air_.authorization == CBManagerAuthorizationRestricted;
  switch (air_.state()) {
    case CBManagerStateResetting:
      return "resetting";
    case CBManagerStateUnsupported:
      return "unsupported";
    case CBManagerStateUnauthorized:
      return isRefused ? "unauthorized" : kSettling;
    case CBManagerStatePoweredOff:
      return "poweredOff";
    case CBManagerStatePoweredOn:
      return "poweredOn";
    default:
      return kSettling;
  }
}

}  // namespace world
