#include "ComBLE.h"

#include <chrono>
#include <string>
#include <string_view>

#include "EndProcess.h"
#include "Payload.h"
#include "Precondition.h"
#include "Text.h"
#include "Utils.h"

using platform::CBCentralManager;
using platform::CBManagerState;
using platform::CBPeripheral;

namespace {

std::string_view nameOf(CBManagerState state) {
  switch (state) {
    case CBManagerState::resetting:
      return "resetting";
    case CBManagerState::unsupported:
      return "unsupported";
    case CBManagerState::unauthorized:
      return "unauthorized";
    case CBManagerState::poweredOff:
      return "poweredOff";
    case CBManagerState::poweredOn:
      return "poweredOn";
    case CBManagerState::unknown:
      break;
  }
  return "unknown";
}

[[noreturn]] void endUnusable(platform::Platform& platform, int code) {
  using namespace std::chrono_literals;
  sendQuelmar(Payload("Z;").field(code));
  platform.sleep(1s);  // gives the host time to read the message before the end
  endProcess();
}

}  // namespace

ComBLE::ComBLE(platform::Platform& system)
    : manager(system.makeCentralManager(*this)), platform_(system) {}

void ComBLE::centralManagerDidUpdateState(CBCentralManager& central) {
  require(manager != nullptr);
  writeLine("manager state update : " + std::string(nameOf(manager->state())));
  switch (central.state()) {
    case CBManagerState::resetting:
      return;
    case CBManagerState::poweredOn:
      scanEnCours = true;
      manager->scanForPeripherals();
      return;
    case CBManagerState::poweredOff:
      endUnusable(platform_, 2);
    case CBManagerState::unauthorized:
      endUnusable(platform_, 4);
    case CBManagerState::unknown:
    case CBManagerState::unsupported:
      break;
  }
  endUnusable(platform_, 3);
}

// Accepts the device if the family has none yet and the name is one of the family's; false if not.
template <class Handler>
bool ComBLE::take(const std::shared_ptr<CBPeripheral>& device, std::string_view key,
                  HandlerSlot<Handler>& slot) {
  if (slot || !isNamed(Handler::family, key)) return false;
  auto handler = std::make_unique<Handler>(device);
  if (!Handler::family.announcement.empty()) sendQuelmar(Handler::family.announcement);
  slot.fill(std::move(handler));
  connecting(device);
  return true;
}

void ComBLE::centralManagerDidDiscover(CBCentralManager&,
                                       const std::shared_ptr<CBPeripheral>& device) {
  const auto name = device->name();
  if (!name) return;
  const std::string key = lowerCase(*name);
  if (datePremiereConn == 0) writeLine("Device trouve : " + key);

  std::apply([&](auto&... slot) { static_cast<void>((take(device, key, slot) || ...)); }, slots());
}

void ComBLE::connecting(const std::shared_ptr<CBPeripheral>& peripheral) {
  const auto name = peripheral->name();
  require(name.has_value());
  writeLine("Connexion a " + *name);
  if (datePremiereConn == 0) datePremiereConn = platform_.now();
  require(manager != nullptr);
  manager->connect(peripheral);
}

void ComBLE::centralManagerDidConnect(CBCentralManager&,
                                      const std::shared_ptr<CBPeripheral>& device) {
  const auto askedFor = [&device](const auto& slot) {
    if (!slot || slot.get()->peripheral != device) return false;
    device->discoverServices(slot.get()->services());
    return true;
  };
  std::apply([&](auto&... slot) { static_cast<void>((askedFor(slot) || ...)); },
             slotsByConnection());
}
