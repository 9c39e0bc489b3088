#include "lab/bluetoothd/Bluetoothd.h"

#include <algorithm>
#include <utility>

#include "lab/bluetoothd/BusTypes.h"

namespace lab {

using namespace std::chrono_literals;

Bluetoothd::Bluetoothd(Agenda& agenda, Dice& dice, MessageBus& bus, Witness& witness)
    : agenda_(agenda), dice_(dice), bus_(bus), witness_(witness) {
  bus_.onCall = [this](BusMessage call) { receive(std::move(call)); };
  bus_.onClientGone = [this] { clientDidGo(); };
}

Bluetoothd::~Bluetoothd() {
  bus_.onCall = nullptr;
  bus_.onClientGone = nullptr;
}

RemoteDevice& Bluetoothd::add(DeviceModel& model, const std::string& key) {
  return *devices_.emplace_back(std::make_unique<RemoteDevice>(*this, model, key));
}

bool Bluetoothd::isIdle() const {
  return calls_.empty() && pending_.empty() && bus_.unansweredCount() == 0 &&
         std::ranges::none_of(devices_, &RemoteDevice::hasUnseenEnd);
}

void Bluetoothd::start() {
  if (isRunning_) return;
  isRunning_ = true;
  ++life_;
  // On a busy machine the daemon may take seconds to give its first answer.
  busyUntil_ = agenda_.now() + (dice_.oneIn(4) ? dice_.between(0s, 8s) : Microseconds(0));
  isServing_ = false;
  for (auto& [path, adapter] : adapters_) {
    const bool isPowered = adapter.isPowered;
    adapter = Adapter{.isPowered = isPowered && !traits.powersAdaptersLate};
    if (isPowered && traits.powersAdaptersLate) {
      later(dice_.between(1ms, 2s), [this, name = path] { setPowered(name, true); });
    }
  }
  for (const auto& device : devices_) {
    if (adapters_.contains(device->keptOn_)) {
      device->adapter_ = device->keptOn_;
      ++device->objects;
    } else if (device->isStored && !adapters_.empty()) {
      device->adapter_ = adapters_.begin()->first;
    }
    if (device->hasObject()) device->name_ = device->model_.name();
  }
  bus_.ownStackName();
  tellStart();
}

// The name comes first.
void Bluetoothd::tellStart() {
  for (const auto& entry : adapters_) {
    tellAdded(entry.first, [&](sd_bus_message* message) {
      appendAdapter(message, entry.second.isPowered, false);
    });
  }
  for (const auto& device : devices_) {
    if (device->hasObject()) tellObject(*device);
  }
}

void Bluetoothd::stop() {
  if (!isRunning_) return;
  for (const auto& device : devices_) device->connect_.reset();  // the bus answers for it
  for (auto& [path, adapter] : adapters_) {
    if (adapter.isPowered) endAll(path, adapter, traits.tellsPowerFirst);
    forgetTemporary(path);
    for (const auto& device : devices_) {
      if (device->adapter_ == path) forget(*device);
    }
    tellRemoved(path, kAdapterInterface);
  }
  isRunning_ = false;
  ++life_;
  calls_.clear();
  pending_.clear();
  strangers_.clear();
  bus_.loseStackName();
}

void Bluetoothd::kill() {
  isKilled_ = true;
  stop();
  isKilled_ = false;
}

void Bluetoothd::clientDidGo() {
  calls_.clear();
  pending_.clear();
  for (const auto& device : devices_) {
    device->connect_.reset();
    for (Gatt& gatt : device->gatt_) unsubscribe(*device, gatt);
  }
  for (auto& [path, adapter] : adapters_) {
    if (!std::exchange(adapter.wasForClient, false)) continue;
    // Discovery ends a moment later, when the daemon notices that the client is gone; that it is
    // off is told even if the client had stopped it before. The next client may have started its
    // own discovery by then.
    adapter.isForLeaver = true;
    later(shortTime(), [this, name = path] {
      const auto found = adapters_.find(name);
      if (found == adapters_.end() || !found->second.isForLeaver) return;
      stopDiscovery(name, found->second);
    });
  }
}

void Bluetoothd::later(Microseconds delay, Agenda::Action action) {
  agenda_.after(delay, [this, life = life_, action = std::move(action)] {
    if (life == life_) action();
  });
}

void Bluetoothd::receive(BusMessage call) {
  witness_.didReceive(sd_bus_message_get_path(call.get()), sd_bus_message_get_member(call.get()));
  calls_.push_back(std::move(call));
  if (isServing_) return;
  isServing_ = true;
  later(dice_.between(10us, 300us), [this] { serveNext(); });
}

// Calls are answered one at a time, in their order; none while the daemon hangs (standStill).
void Bluetoothd::serveNext() {
  isServing_ = false;
  if (calls_.empty()) return;
  isServing_ = true;
  if (busyUntil_ > agenda_.now()) {
    return later(busyUntil_ - agenda_.now(), [this] { serveNext(); });
  }
  const BusMessage call = std::move(calls_.front());
  calls_.pop_front();
  serve(call);
  later(dice_.between(1us, 50us), [this] { serveNext(); });
}

void Bluetoothd::serve(const BusMessage& call) {
  const std::string path = sd_bus_message_get_path(call.get());
  const std::string member = sd_bus_message_get_member(call.get());
  witness_.didAsk(path, member);
  if (deniesAccess) return bus_.sendError(call, kAccessDenied, "Rejected by the policy");
  if (member == "GetManagedObjects") return listObjects(call);
  if (member == "Get") return serveProperty(call, path);
  if (adapters_.contains(path)) return serveAdapter(call, path, member);
  RemoteDevice* device = deviceAt(path);
  if (device == nullptr) return failUnknown(call, kUnknownObject);
  if (path == device->path()) return serveDevice(call, *device, member);
  for (Gatt& gatt : device->gatt_) {
    if (device->hasGattObjects_ && path == device->path() + gatt.path) {
      return serveGatt(call, *device, gatt, member);
    }
  }
  failUnknown(call, kUnknownObject);
}

// As libdbus says it.
void Bluetoothd::failUnknown(const BusMessage& call, const char* error) {
  const char* signature = sd_bus_message_get_signature(call.get(), 1);
  bus_.sendError(call, error,
                 std::string("Method \"") + sd_bus_message_get_member(call.get()) +
                     "\" with signature \"" + signature + "\" on interface \"" +
                     sd_bus_message_get_interface(call.get()) + "\" doesn't exist\n");
}

}  // namespace lab
