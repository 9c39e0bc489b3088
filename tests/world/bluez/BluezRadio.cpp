#include "tests/world/bluez/BluezRadio.h"

#include <algorithm>
#include <functional>
#include <tuple>
#include <vector>

#include "tests/world/Wrong.h"

namespace world {

using namespace std::chrono_literals;

namespace {

constexpr int kMostAskedInASecond = 20;

}  // namespace

BluezRadio::BluezRadio(const lab::Agenda& agenda, lab::Bluetoothd& bluetoothd,
                       std::string onlyAdapter)
    : Radio(agenda), bluetoothd_(bluetoothd), onlyAdapter_(std::move(onlyAdapter)) {
  const lab::Traits& traits = bluetoothd.traits;
  habits.reportsLinks = traits.tellsConnected;
  habits.noticesLinksLate = !traits.tellsConnected;
  habits.tellsRefusals = traits.answersRefusedSockets || !traits.offersSockets;
}

void BluezRadio::forget() {
  sawStack_ = false;
  hasBus_ = true;
  wasRunning_ = bluetoothd_.isRunning();
  hasAskedToDiscover_ = false;
  settlesUntil_.reset();
  adapter_.clear();
  lastAdapter_.clear();
  adapterSince_ = 0;
  asked_.clear();
}

std::string BluezRadio::situation() {
  const bool isRunning = bluetoothd_.isRunning();
  sawStack_ |= isRunning;
  if (!isRunning) adapter_.clear();
  if (isRunning && !wasRunning_) settlesUntil_ = agenda_.now() + 5s;
  wasRunning_ = isRunning;
  if (!hasBus_) return "unsupported";
  if (!isRunning) return sawStack_ ? "resetting" : "unsupported";
  if (bluetoothd_.deniesAccess) return "unauthorized";
  if (bluetoothd_.deniesDiscovery && hasAskedToDiscover_) return "unauthorized";
  return situationOfAdapters();
}

std::string BluezRadio::situationOfAdapters() const {
  if (!adapter_.empty()) {
    if (!bluetoothd_.hasAdapter(adapter_)) return "unsupported";
    return bluetoothd_.isPowered(adapter_) ? "poweredOn" : "poweredOff";
  }
  std::vector<bool> adapters;  // whether each is powered
  for (const auto& [path, adapter] : bluetoothd_.adapters()) {
    if (admits(path)) adapters.push_back(adapter.isPowered);
  }
  const bool isOn = std::ranges::any_of(adapters, std::identity());
  // Its adapters may still be on their way.
  if (!isOn && settlesUntil_ && agenda_.now() < *settlesUntil_) return kSettling;
  if (adapters.empty()) return "unsupported";
  return isOn ? "poweredOn" : "poweredOff";
}

// A loss of power ends the scan and the links, also when the power is back at once. A bridge that
// waits for another adapter of a bluetoothd that is new does not look at this one.
bool BluezRadio::isToBeTold(std::size_t situation) const {
  return !settlesUntil_ && situation > adapterSince_ &&
         situations()[situation - 1].state == "poweredOn" &&
         situations()[situation].state == "poweredOff";
}

std::optional<bool> BluezRadio::isDiscovering() const {
  const auto adapter = bluetoothd_.adapters().find(adapter_);
  if (adapter == bluetoothd_.adapters().end()) return std::nullopt;
  const bool isOn = adapter->second.isForClient;
  const bool canBegin = adapter->second.isPowered && !adapter->second.isOccupied;
  return isOn || canBegin ? std::optional(isOn) : std::nullopt;
}

bool BluezRadio::doesReport(const lab::StackDevice& device) const {
  const auto& remote = static_cast<const lab::RemoteDevice&>(device);
  if (!remote.isInRange() || remote.adapter() != adapter_) return false;
  const lab::Traits& traits = bluetoothd_.traits;
  const bool isToldNow = !traits.tellsConnectedLate || remote.areServicesResolved();
  return !remote.isConnected() || (traits.tellsConnected && isToldNow);
}

// The one that was used before, for which the bridge waits a while when bluetoothd is back; or any.
void BluezRadio::didListObjects() {
  if (!adapter_.empty()) return;
  if (bluetoothd_.isPowered(lastAdapter_)) return use(lastAdapter_);
  const bool isSettling = settlesUntil_ && agenda_.now() < *settlesUntil_;
  if (isSettling && !lastAdapter_.empty() && onlyAdapter_.empty()) return;
  for (const auto& [path, adapter] : bluetoothd_.adapters()) {
    if (adapter.isPowered && admits(path)) return use(path);
  }
}

// From here on the bridge uses the adapter, also while bluetoothd stands still.
void BluezRadio::didReceive(std::string_view path, std::string_view member) {
  if (member != "SetDiscoveryFilter" && member != "StartDiscovery") return;
  use(std::string(path));
  look();
}

void BluezRadio::didAsk(const std::string& path, const std::string& member) {
  if (member == "Connect") didAskToConnect(path);
  if (member == "Connect" || member.ends_with("Discovery")) {
    auto& [since, count] = asked_[path + member];
    if (agenda_.now() > since + 1s) std::tie(since, count) = std::pair(agenda_.now(), 0);
    if (++count > kMostAskedInASecond) throw Wrong("asks without end: " + member);
  }
  if (member != "StartDiscovery") return;
  hasAskedToDiscover_ = true;
  look();
}

// A call that bluetoothd has not looked at yet may have been meant for an object before this one.
void BluezRadio::didAskToConnect(const std::string& path) const {
  for (const auto& device : bluetoothd_.devices()) {
    if (!device->hasObject() || device->path() != path) continue;
    if (device->objects + (device->isStored ? 1 : 0) > 1) continue;
    if (device->isBeingConnected()) throw Wrong("connects twice at once to " + device->key());
  }
}

void BluezRadio::use(const std::string& adapter) {
  if (adapter_ != adapter) adapterSince_ = situations().size() - 1;
  adapter_ = lastAdapter_ = adapter;
}

bool BluezRadio::admits(const std::string& adapter) const {
  return onlyAdapter_.empty() || adapter.ends_with("/" + onlyAdapter_);
}

}  // namespace world
