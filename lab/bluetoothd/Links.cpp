// Links: from Connect to the resolved services, and their loss.
#include "lab/bluetoothd/Bluetoothd.h"

#include <utility>

#include "lab/bluetoothd/BusTypes.h"

namespace lab {

using namespace std::chrono_literals;

namespace {

constexpr const char* kLinkLost = "Operation failed with ATT error: 0x0e";

}  // namespace

void Bluetoothd::serveDevice(const BusMessage& call, RemoteDevice& device,
                             const std::string& member) {
  if (member == "Connect") return connect(call, device);
  failUnknown(call, kUnknownMethod);
}

void Bluetoothd::connect(const BusMessage& call, RemoteDevice& device) {
  if (device.isConnected_) return reply(call);
  if (device.connect_ != nullptr) return bus_.sendError(call, kInProgress, "In Progress");
  if (traits.succeedsWithoutALink && dice_.oneIn(3)) return reply(call);
  if (!traits.forgetsFailed || device.isStored) device.keptOn_ = device.adapter_;
  device.connect_ = BusMessage(sd_bus_message_ref(call.get()));
  const std::size_t attempt = ++device.attempt_;
  const auto tryAgain = [this, &device, attempt](auto&& self, int left) -> void {
    later(dice_.between(1ms, 300ms), [this, &device, attempt, self, left] {
      if (attempt != device.attempt_) return;
      if (!isPowered(device.adapter_)) return failConnect(device, "Not Powered");
      if (device.isAdvertising && device.isConnectable) return linkUp(device);
      if (left == 0) {
        return failConnect(device, traits.namesFailures ? "le-connection-abort-by-local"
                                                        : "Software caused connection abort");
      }
      self(self, left - 1);
    });
  };
  tryAgain(tryAgain, 150 + static_cast<int>(dice_.below(100)));
}

void Bluetoothd::failConnect(RemoteDevice& device, const char* text) {
  ++device.attempt_;
  const BusMessage call = std::move(device.connect_);
  if (call != nullptr) bus_.sendError(call, kFailed, text);
  if (traits.forgetsFailed && device.isTemporary()) forget(device);
}

void Bluetoothd::linkUp(RemoteDevice& device) {
  ++device.attempt_;
  ++device.generation;
  device.isConnected_ = true;
  device.keptOn_ = device.adapter_;
  device.model_.connected(device);
  if (traits.tellsConnected && !traits.tellsConnectedLate) {
    tellChange(device.path(), kDeviceInterface, {{"Connected", true}});
  }
  witness_.didLinkUp(device);
  const std::size_t generation = device.generation;
  const auto whileUp = [this, &device, generation](Microseconds delay, auto action) {
    later(delay, [&device, generation, action] {
      if (device.generation == generation && device.isConnected_) action();
    });
  };
  whileUp(shortTime(), [this, &device, whileUp] {
    const BusMessage call = std::move(device.connect_);
    if (call != nullptr) reply(call);
    whileUp(dice_.between(1ms, 900ms), [this, &device] {
      if (std::exchange(device.isLostAtServiceDiscovery, false)) return dropLink(device);
      resolve(device);
    });
  });
  wake(device);
}

void Bluetoothd::resolve(RemoteDevice& device) {
  device.isResolved_ = true;
  const auto tellServices = [&] {
    if (device.hasGattObjects_ || device.doesResolveToNothing) return;
    if (device.gatt_.empty()) device.gatt_ = gattOf(device.model_, traits.showsAccessService);
    device.hasGattObjects_ = true;
    for (const Gatt& gatt : device.gatt_) {
      tellAdded(device.path() + gatt.path,
                [&](sd_bus_message* message) { appendGatt(message, gatt); });
    }
  };
  if (!traits.resolvesBeforeObjects) tellServices();
  Properties changed{{"ServicesResolved", true}};
  if (traits.tellsConnected && traits.tellsConnectedLate) changed["Connected"] = true;
  tellChange(device.path(), kDeviceInterface, changed);
  if (traits.resolvesBeforeObjects) tellServices();
  if (device.hasGattObjects_ && device.name_ != device.model_.name()) readName(device);
}

void Bluetoothd::readName(RemoteDevice& device) {
  device.name_ = device.model_.name();
  tellChange(device.path(), kDeviceInterface, {{"Name", device.knownName()}});
}

void Bluetoothd::dropLink(RemoteDevice& device) {
  if (!device.isConnected_) return;
  ++device.generation;
  device.isConnected_ = false;
  const bool wasResolved = std::exchange(device.isResolved_, false);
  device.isEnding_ = false;
  device.hasRssi_ = false;
  if (!isKilled_) device.keptOn_.clear();
  expire(device);
  witness_.didLinkDown(device);
  const auto fail = [&] {
    const BusMessage call = std::move(device.connect_);
    if (call != nullptr) bus_.sendError(call, kFailed, "le-connection-abort-by-remote");
    for (auto entry = pending_.begin(); entry != pending_.end();) {
      if (entry->second.device != &device) {
        ++entry;
        continue;
      }
      bus_.sendError(entry->second.call, kFailed, kLinkLost);
      entry = pending_.erase(entry);
    }
  };
  const auto tell = [&] {
    Properties changed{{"Connected", false}};
    if (wasResolved && traits.joinsChanges) changed["ServicesResolved"] = false;
    if (wasResolved && !traits.joinsChanges) {
      tellChange(device.path(), kDeviceInterface, {{"ServicesResolved", false}});
    }
    tellChange(device.path(), kDeviceInterface, changed);
  };
  if (traits.tellsLossBeforeErrors) tell();
  if (!isKilled_) fail();
  for (Gatt& gatt : device.gatt_) unsubscribe(device, gatt);
  if (!traits.tellsLossBeforeErrors) tell();
  device.model_.disconnected();
  wake(device);
}

}  // namespace lab
