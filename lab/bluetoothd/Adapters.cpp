// Adapters and discovery.
#include "lab/bluetoothd/Bluetoothd.h"

#include "lab/bluetoothd/BusTypes.h"

namespace lab {

void Bluetoothd::plug(const std::string& adapter, bool isPowered) {
  adapters_[adapter] = Adapter{.isPowered = isPowered};
  if (!isRunning_) return;
  tellAdded(adapter, [&](sd_bus_message* message) { appendAdapter(message, isPowered, false); });
}

void Bluetoothd::unplug(const std::string& adapter) {
  if (!adapters_.contains(adapter)) return;
  for (const auto& device : devices_) {
    if (device->adapter_ != adapter) continue;
    dropLink(*device);
    forget(*device);
  }
  forgetTemporary(adapter);
  adapters_.erase(adapter);
  if (isRunning_) tellRemoved(adapter, kAdapterInterface);
}

void Bluetoothd::setPowered(const std::string& path, bool isPowered) {
  const auto found = adapters_.find(path);
  if (found == adapters_.end() || found->second.isPowered == isPowered) return;
  found->second.isPowered = isPowered;
  if (isPowered) return tellChange(path, kAdapterInterface, {{"Powered", true}});
  endAll(path, found->second, false);
}

// Links, discovery and power.
void Bluetoothd::endAll(const std::string& path, Adapter& adapter, bool tellsPowerFirst) {
  if (traits.forgetsAtPowerOff) forgetTemporary(path);
  const bool wasDiscovering = adapter.isDiscovering();
  adapter.isForClient = adapter.isForLeaver = adapter.isForAnother = adapter.isOccupied = false;
  const auto tellPower = [&] {
    if (traits.joinsChanges) {
      return tellChange(path, kAdapterInterface, {{"Discovering", false}, {"Powered", false}});
    }
    if (wasDiscovering) tellChange(path, kAdapterInterface, {{"Discovering", false}});
    tellChange(path, kAdapterInterface, {{"Powered", false}});
  };
  if (tellsPowerFirst) tellPower();
  for (const auto& device : devices_) {
    if (device->adapter_ != path) continue;
    dropLink(*device);
    device->hasRssi_ = false;
  }
  if (!tellsPowerFirst) tellPower();
}

bool Bluetoothd::isPowered(const std::string& path) const {
  const auto found = adapters_.find(path);
  return found != adapters_.end() && found->second.isPowered;
}

bool Bluetoothd::isDiscovering(const std::string& path) const {
  const auto found = adapters_.find(path);
  return found != adapters_.end() && found->second.isDiscovering();
}

void Bluetoothd::serveAdapter(const BusMessage& call, const std::string& path,
                              const std::string& member) {
  Adapter& adapter = adapters_[path];
  if (member == "SetDiscoveryFilter") return reply(call);
  if (member == "StartDiscovery") {
    if (deniesDiscovery) return bus_.sendError(call, kAccessDenied, "Rejected by the policy");
    if (!adapter.isPowered) return bus_.sendError(call, kNotReady, "Resource Not Ready");
    if (adapter.isOccupied || (adapter.isForClient && !adapter.isForLeaver)) {
      return bus_.sendError(call, kInProgress, "Operation already in progress");
    }
    const bool was = adapter.isDiscovering();
    adapter.isForClient = adapter.wasForClient = true;
    adapter.isForLeaver = false;
    reply(call);
    if (!was) tellChange(path, kAdapterInterface, {{"Discovering", true}});
    return;
  }
  if (member == "StopDiscovery") {
    if (!adapter.isForClient || adapter.isForLeaver) {
      return bus_.sendError(call, kFailed, "No discovery started");
    }
    // The kernel tells of either at its own time.
    const bool isAnsweredFirst = dice_.oneIn(2);
    if (isAnsweredFirst) reply(call);
    stopDiscovery(path, adapter);
    if (!isAnsweredFirst) reply(call);
    return;
  }
  failUnknown(call, kUnknownMethod);
}

void Bluetoothd::stopDiscovery(const std::string& path, Adapter& adapter) {
  adapter.isForClient = adapter.isForLeaver = false;
  if (adapter.isForAnother) return;
  if (traits.tellsDiscoveringOff) {
    tellChange(path, kAdapterInterface, {{"Discovering", false}});
  }
  forgetUnheard(path);
}

void Bluetoothd::discoverForAnother(const std::string& path, bool isOn) {
  const auto found = adapters_.find(path);
  if (!isRunning_ || found == adapters_.end() || !found->second.isPowered) return;
  const bool was = found->second.isDiscovering();
  found->second.isForAnother = isOn;
  if (was == found->second.isDiscovering()) return;
  tellChange(path, kAdapterInterface, {{"Discovering", isOn}});
  if (!isOn) forgetUnheard(path);
}

void Bluetoothd::occupy(const std::string& path, bool isOn) {
  const auto found = adapters_.find(path);
  if (found != adapters_.end()) found->second.isOccupied = isOn && found->second.isPowered;
}

void Bluetoothd::changeAlias(const std::string& adapter) {
  if (!adapters_.contains(adapter)) return;
  tellChange(adapter, kAdapterInterface, {{"Alias", "desk"}});
}

}  // namespace lab
