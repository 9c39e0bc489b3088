#include "ComBLE.h"

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "EndProcess.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Precondition.h"
#include "Text.h"
#include "Utils.h"

using platform::CBCentralManager;
using platform::CBManagerState;
using platform::CBPeripheral;
using platform::CBUUID;

namespace {

constexpr CBUUID kTramselServices[] = {service_tramsel, service_batt};
constexpr CBUUID kFenwixServices[] = {service_fenwix, service_batt, service_info,
                                      service_fenwix_config};
constexpr CBUUID kCorveltaServices[] = {service_corvelta_parametres, service_corvelta_calibration,
                                        service_corvelta_contractions, service_batt};
constexpr CBUUID kIloServices[] = {service_ilo};
constexpr CBUUID kTenovalServices[] = {service_batt, service_tenoval};

// "pelk0" has a digit zero: both spellings are out in the field.
constexpr std::string_view kTramselNames[] = {"dorvane", "tramsel"};
constexpr std::string_view kSondeNames[] = {"ilo", "pelko", "pelk0", "tenoval", "kvaltrin"};
constexpr std::string_view kCorveltaNames[] = {"tarvix"};
constexpr std::string_view kFenwixNames[] = {"nomsuel"};

bool beginsWithOneOf(std::string_view key, std::span<const std::string_view> prefixes) {
  return std::ranges::any_of(prefixes, [key](auto prefix) { return beginsWith(key, prefix); });
}

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
  platform.sleep(1s);  // the host is to read the message before the end
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

void ComBLE::centralManagerDidDiscover(CBCentralManager&,
                                       const std::shared_ptr<CBPeripheral>& device) {
  const auto name = device->name();
  if (!name) return;
  const std::string key = lowerCase(*name);
  if (datePremiereConn == 0) writeLine("Device trouve : " + key);

  if (!comTramsel && beginsWithOneOf(key, kTramselNames)) {
    auto handler = std::make_unique<ComTramsel>(device);
    sendQuelmar("C;3;0;");
    comTramsel.fill(std::move(handler));
  } else if (!comSonde && beginsWithOneOf(key, kSondeNames)) {
    comSonde.fill(std::make_unique<ComSonde>(device));
  } else if (!comCorvelta && beginsWithOneOf(key, kCorveltaNames)) {
    comCorvelta.fill(std::make_unique<ComCorvelta>(device));
  } else if (!comFenwix && beginsWithOneOf(key, kFenwixNames)) {
    comFenwix.fill(std::make_unique<ComFenwix>(device));
  } else {
    return;
  }
  connecting(device);
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
  const auto serves = [&device](const auto& slot) {
    return slot && slot.get()->peripheral == device;
  };
  if (serves(comTramsel)) {
    device->discoverServices(kTramselServices);
  } else if (serves(comFenwix)) {
    device->discoverServices(kFenwixServices);
  } else if (serves(comCorvelta)) {
    device->discoverServices(kCorveltaServices);
  } else if (serves(comSonde) && comSonde.get()->isIlo) {
    device->discoverServices(kIloServices);
  } else if (serves(comSonde)) {
    device->discoverServices(kTenovalServices);
  }
}
