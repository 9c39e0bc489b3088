#include "lab/bluetoothd/Bluetoothd.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "lab/bluetoothd/BusTypes.h"

namespace lab {

using namespace std::chrono_literals;

namespace {

constexpr const char* kFailed = "org.bluez.Error.Failed";
constexpr const char* kInProgress = "org.bluez.Error.InProgress";
constexpr const char* kNotSupported = "org.bluez.Error.NotSupported";
constexpr const char* kAccessDenied = "org.freedesktop.DBus.Error.AccessDenied";
constexpr const char* kUnknownObject = "org.freedesktop.DBus.Error.UnknownObject";
constexpr const char* kUnknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
constexpr const char* kLinkLost = "Operation failed with ATT error: 0x0e";
constexpr Microseconds kMemory = 30s;    // of a device that was only heard
constexpr Microseconds kAttLimit = 30s;  // after which an unanswered request ends the link

// std::function wants what it holds to be copied.
using SharedMessage = std::shared_ptr<sd_bus_message>;

SharedMessage share(const BusMessage& message) {
  return {sd_bus_message_ref(message.get()), DropMessage()};
}

BusMessage share(const SharedMessage& message) {
  return BusMessage(sd_bus_message_ref(message.get()));
}

}  // namespace

Bluetoothd::Bluetoothd(Agenda& agenda, Dice& dice, MessageBus& bus, Witness& witness)
    : agenda_(agenda), dice_(dice), bus_(bus), witness_(witness) {
  bus_.onCall = [this](BusMessage call) { receive(std::move(call)); };
  bus_.onClientGone = [this] { clientIsGone(); };
  bus_.onStartRequest = [] { return false; };
}

Bluetoothd::~Bluetoothd() {
  bus_.onCall = nullptr;
  bus_.onClientGone = nullptr;
  bus_.onStartRequest = nullptr;
}

RemoteDevice& Bluetoothd::add(DeviceModel& model, const std::string& key) {
  return *devices_.emplace_back(std::make_unique<RemoteDevice>(*this, model, key));
}

// --- Adapters

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
  adapters_.erase(adapter);
  if (isRunning_) tellRemoved(adapter, kAdapterInterface);
}

void Bluetoothd::setPowered(const std::string& path, bool isPowered) {
  const auto found = adapters_.find(path);
  if (found == adapters_.end() || found->second.isPowered == isPowered) return;
  Adapter& adapter = found->second;
  adapter.isPowered = isPowered;
  if (!isPowered) {
    adapter.isForClient = adapter.isForLeaver = adapter.isForAnother = adapter.hasFilter = false;
    for (const auto& device : devices_) {
      if (device->adapter_ == path) dropLink(*device);
    }
  }
  tellBoolean(path, kAdapterInterface, "Powered", isPowered);
}

bool Bluetoothd::isPowered(const std::string& path) const {
  const auto found = adapters_.find(path);
  return found != adapters_.end() && found->second.isPowered;
}

bool Bluetoothd::isIdle() const {
  return calls_.empty() && pending_.empty() && bus_.unansweredCount() == 0;
}

bool Bluetoothd::isDiscovering(const std::string& path) const {
  const auto found = adapters_.find(path);
  return found != adapters_.end() && found->second.isDiscovering();
}

// --- The daemon's life

void Bluetoothd::start() {
  if (isRunning_) return;
  isRunning_ = true;
  ++life_;
  // On a machine that is busy its first answer takes its time.
  busyUntil_ = agenda_.now() + (dice_.oneIn(4) ? dice_.between(0s, 8s) : Microseconds(0));
  isServing_ = false;
  for (auto& [path, adapter] : adapters_) {
    const bool isPowered = adapter.isPowered;
    adapter = Adapter{.isPowered = isPowered && !traits.powersAdaptersLate};
    if (isPowered && traits.powersAdaptersLate) {
      later(dice_.between(1ms, 2s), [this, path = path] { setPowered(path, true); });
    }
  }
  for (const auto& device : devices_) {
    if (device->isStored && !adapters_.empty()) {
      device->adapter_ = adapters_.begin()->first;
      device->name_ = device->model_.name();
    }
  }
  bus_.ownStackName();
}

void Bluetoothd::stop() {
  if (!isRunning_) return;
  for (const auto& device : devices_) {
    dropLink(*device);
    device->adapter_.clear();
    device->connect_.reset();
    device->hasRssi_ = false;
    device->hasGattObjects_ = false;
    device->name_.clear();
  }
  isRunning_ = false;
  ++life_;
  calls_.clear();
  pending_.clear();
  bus_.loseStackName();
}

void Bluetoothd::clientIsGone() {
  calls_.clear();
  pending_.clear();
  for (const auto& device : devices_) {
    device->connect_.reset();
    for (Gatt& gatt : device->gatt_) unsubscribe(*device, gatt);
  }
  for (auto& [path, adapter] : adapters_) {
    if (!adapter.isForClient) continue;
    // A moment later, since it has to notice. Another client may have begun meanwhile, or have set
    // its filter.
    adapter.isForLeaver = true;
    adapter.hasFilter = false;
    later(shortTime(), [this, path = path] {
      const auto found = adapters_.find(path);
      if (found == adapters_.end() || !found->second.isForLeaver) return;
      const bool hasFilter = found->second.hasFilter;
      stopDiscovery(path, found->second);
      found->second.hasFilter = hasFilter;
    });
  }
}

void Bluetoothd::later(Microseconds delay, Agenda::Action action) {
  agenda_.after(delay, [this, life = life_, action = std::move(action)] {
    if (life == life_) action();
  });
}

// --- Calls

void Bluetoothd::receive(BusMessage call) {
  calls_.push_back(std::move(call));
  if (isServing_) return;
  isServing_ = true;
  later(dice_.between(10us, 300us), [this] { serveNext(); });
}

// In their order, and none while it stands still.
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
  if (device == nullptr) return bus_.sendError(call, kUnknownObject, "No such object");
  if (path == device->path()) return serveDevice(call, *device, member);
  for (Gatt& gatt : device->gatt_) {
    if (device->hasGattObjects_ && path == device->path() + gatt.path) {
      return serveGatt(call, *device, gatt, member);
    }
  }
  bus_.sendError(call, kUnknownObject, "No such object");
}

void Bluetoothd::serveAdapter(const BusMessage& call, const std::string& path,
                              const std::string& member) {
  Adapter& adapter = adapters_[path];
  if (member == "SetDiscoveryFilter") {
    adapter.hasFilter = true;
    return reply(call);
  }
  if (member == "StartDiscovery") {
    if (deniesDiscovery) return bus_.sendError(call, kAccessDenied, "Rejected by the policy");
    if (!adapter.isPowered) return bus_.sendError(call, "org.bluez.Error.NotReady", "Not ready");
    if (adapter.isForClient && !adapter.isForLeaver) {
      return bus_.sendError(call, kInProgress, "In progress");
    }
    const bool was = adapter.isDiscovering();
    adapter.isForClient = true;
    adapter.isForLeaver = false;
    reply(call);
    if (!was) tellBoolean(path, kAdapterInterface, "Discovering", true);
    return;
  }
  if (member == "StopDiscovery") {
    if (!adapter.isForClient || adapter.isForLeaver) {
      return bus_.sendError(call, kFailed, "No discovery started");
    }
    reply(call);
    return stopDiscovery(path, adapter);
  }
  bus_.sendError(call, kUnknownMethod, "No such method");
}

void Bluetoothd::stopDiscovery(const std::string& path, Adapter& adapter) {
  adapter.isForClient = adapter.isForLeaver = adapter.hasFilter = false;
  if (adapter.isForAnother) return;
  if (traits.tellsDiscoveringOfALeaver) {
    tellBoolean(path, kAdapterInterface, "Discovering", false);
  }
  forgetUnheard(path);
}

void Bluetoothd::discoverForAnother(const std::string& path, bool isOn) {
  const auto found = adapters_.find(path);
  if (!isRunning_ || found == adapters_.end() || !found->second.isPowered) return;
  const bool was = found->second.isDiscovering();
  found->second.isForAnother = isOn;
  if (was == found->second.isDiscovering()) return;
  tellBoolean(path, kAdapterInterface, "Discovering", isOn);
  if (!isOn) forgetUnheard(path);
}

void Bluetoothd::changeAlias(const std::string& adapter) {
  if (!isRunning_ || !adapters_.contains(adapter)) return;
  BusMessage signal = bus_.newSignal(adapter, kPropertiesInterface, "PropertiesChanged");
  if (signal == nullptr) return;
  sd_bus_message_append(signal.get(), "sa{sv}as", kAdapterInterface, 1, "Alias", "s", "desk", 0);
  bus_.sendSignal(std::move(signal), kAdapterInterface);
}

// --- Devices

void Bluetoothd::hear(RemoteDevice& device) {
  if (!isRunning_ || !device.isAdvertising || device.isConnected_) return;
  for (const auto& [path, adapter] : adapters_) {
    if (!adapter.isPowered || !adapter.isDiscovering()) continue;
    if (device.hasObject() && device.adapter_ != path) continue;
    const bool isNew = !device.hasObject();
    if (isNew) ++device.objects;
    const bool tellsName = !isNew || !device.doesNameComeLater;
    const bool isNameNew = tellsName && device.name_ != device.model_.name();
    if (tellsName) device.name_ = device.model_.name();
    device.adapter_ = path;
    device.hasRssi_ = true;
    device.lastHeard_ = agenda_.now();
    if (isNew) {
      tellObject(device);
    } else {
      BusMessage signal = bus_.newSignal(device.path(), kPropertiesInterface, "PropertiesChanged");
      if (signal != nullptr) {
        appendHeard(signal.get(), isNameNew ? device.name_ : std::string());
        bus_.sendSignal(std::move(signal), kDeviceInterface);
      }
    }
    witness_.didHear(device);
    later(kMemory + 1ms, [this, &device] {
      const bool isStale = device.lastHeard_ + kMemory <= agenda_.now();
      if (isStale && device.hasObject() && !device.isConnected_) remove(device);
    });
    return;
  }
}

void Bluetoothd::passBy(const std::string& adapter, const std::string& key,
                        const std::string& name) {
  if (!isRunning_ || !isDiscovering(adapter)) return;
  const std::string path = adapter + "/" + key;
  tellAdded(path,
            [&](sd_bus_message* message) { appendDevice(message, name, false, false, true); });
  later(kMemory, [this, path] { tellRemoved(path, kDeviceInterface); });
}

void Bluetoothd::remove(RemoteDevice& device) {
  if (!isRunning_ || !device.hasObject()) return;
  dropLink(device);
  forget(device);
}

// A Connect that waits is never answered.
void Bluetoothd::forget(RemoteDevice& device) {
  if (!device.hasObject()) return;
  if (device.hasGattObjects_) {
    for (const Gatt& gatt : device.gatt_) {
      tellRemoved(device.path() + gatt.path,
                  gatt.isService ? kServiceInterface : kCharacteristicInterface);
    }
  }
  const std::string path = device.path();
  device.adapter_.clear();
  if (device.connect_ != nullptr) bus_.forget(device.connect_);
  device.connect_.reset();
  ++device.attempt_;
  device.hasRssi_ = false;
  device.hasGattObjects_ = false;
  device.name_.clear();
  if (isRunning_) tellRemoved(path, kDeviceInterface);
}

void Bluetoothd::forgetUnheard(const std::string& adapter) {
  for (const auto& device : devices_) {
    if (device->adapter_ != adapter) continue;
    device->hasRssi_ = false;
    const bool isTemporary = !device->isStored && !device->hasGattObjects_;
    if (isTemporary && !device->isConnected_) forget(*device);
  }
}

RemoteDevice* Bluetoothd::deviceAt(const std::string& path) {
  for (const auto& device : devices_) {
    if (device->hasObject() && (path == device->path() || path.starts_with(device->path() + "/"))) {
      return device.get();
    }
  }
  return nullptr;
}

void Bluetoothd::serveDevice(const BusMessage& call, RemoteDevice& device,
                             const std::string& member) {
  if (member == "Connect") return connect(call, device);
  bus_.sendError(call, kUnknownMethod, "No such method");
}

void Bluetoothd::connect(const BusMessage& call, RemoteDevice& device) {
  if (device.isConnected_) return reply(call);
  if (device.connect_ != nullptr) return bus_.sendError(call, kInProgress, "In Progress");
  if (traits.succeedsWithoutALink && dice_.oneIn(3)) return reply(call);
  device.connect_ = BusMessage(sd_bus_message_ref(call.get()));
  const std::size_t attempt = ++device.attempt_;
  const auto tryAgain = [this, &device, attempt](auto&& self, int left) -> void {
    later(dice_.between(1ms, 300ms), [this, &device, attempt, self, left] {
      if (attempt != device.attempt_) return;
      if (!isPowered(device.adapter_)) return failConnect(device, "Not Powered");
      if (device.isAdvertising && device.isConnectable) return linkUp(device);
      if (left == 0) return failConnect(device, "le-connection-abort-by-local");
      self(self, left - 1);
    });
  };
  tryAgain(tryAgain, 150 + static_cast<int>(dice_.below(100)));
}

void Bluetoothd::failConnect(RemoteDevice& device, const char* text) {
  ++device.attempt_;
  const BusMessage call = std::move(device.connect_);
  if (call != nullptr) bus_.sendError(call, kFailed, text);
}

void Bluetoothd::linkUp(RemoteDevice& device) {
  ++device.attempt_;
  ++device.generation;
  device.isConnected_ = true;
  device.name_ = device.model_.name();
  device.model_.connected(device);
  if (traits.tellsConnected) tellBoolean(device.path(), kDeviceInterface, "Connected", true);
  witness_.didLinkUp(device);
  const std::size_t generation = device.generation;
  const auto whileUp = [this, &device, generation](Microseconds delay, auto action) {
    later(delay, [&device, generation, action] {
      if (device.generation == generation && device.isConnected_) action();
    });
  };
  whileUp(shortTime(), [this, &device] {
    const BusMessage call = std::move(device.connect_);
    if (call != nullptr) reply(call);
  });
  whileUp(dice_.between(1ms, 900ms), [this, &device] {
    if (std::exchange(device.isLostAtServiceDiscovery, false)) return dropLink(device);
    resolve(device);
  });
  wake(device);
}

void Bluetoothd::resolve(RemoteDevice& device) {
  device.isResolved_ = true;
  const auto tellServices = [&] {
    if (device.hasGattObjects_ || device.doesResolveToNothing) return;
    if (device.gatt_.empty()) device.gatt_ = gattOf(device.model_);
    device.hasGattObjects_ = true;
    for (const Gatt& gatt : device.gatt_) {
      tellAdded(device.path() + gatt.path,
                [&](sd_bus_message* message) { appendGatt(message, device.path(), gatt); });
    }
  };
  if (!traits.resolvesBeforeObjects) tellServices();
  tellBoolean(device.path(), kDeviceInterface, "ServicesResolved", true);
  if (traits.resolvesBeforeObjects) tellServices();
}

void Bluetoothd::dropLink(RemoteDevice& device) {
  if (!device.isConnected_) return;
  ++device.generation;
  device.isConnected_ = false;
  device.isResolved_ = false;
  device.hasRssi_ = false;
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
    tellBoolean(device.path(), kDeviceInterface, "ServicesResolved", false);
    tellBoolean(device.path(), kDeviceInterface, "Connected", false);
  };
  if (traits.tellsLossBeforeErrors) tell();
  fail();
  for (Gatt& gatt : device.gatt_) unsubscribe(device, gatt);
  if (!traits.tellsLossBeforeErrors) tell();
  device.model_.disconnected();
  wake(device);
}

void Bluetoothd::wake(RemoteDevice& device) {
  const std::size_t turn = ++device.turn_;
  agenda_.after(0us, [this, &device, turn] {
    if (turn == device.turn_) advance(device);
  });
}

void Bluetoothd::advance(RemoteDevice& device) {
  lookAtSockets(device);
  const std::optional<Microseconds> next = device.model_.advance(agenda_.now());
  if (!next) return;
  const std::size_t turn = ++device.turn_;
  agenda_.at(std::max(*next, agenda_.now() + 1us), [this, &device, turn] {
    if (turn == device.turn_) advance(device);
  });
}

// --- What it tells

void Bluetoothd::tellObject(RemoteDevice& device) {
  tellAdded(device.path(), [&](sd_bus_message* message) {
    appendDevice(message, device.name_, device.isConnected_, device.isResolved_, device.hasRssi_);
  });
}

void Bluetoothd::tellAdded(const std::string& path,
                           const std::function<void(sd_bus_message*)>& interfaces) {
  BusMessage signal = bus_.newSignal("/", kObjectManagerInterface, "InterfacesAdded");
  if (signal == nullptr || !isRunning_) return;
  sd_bus_message_append(signal.get(), "o", path.c_str());
  interfaces(signal.get());
  bus_.sendSignal(std::move(signal));
}

void Bluetoothd::tellRemoved(const std::string& path, const char* interface) {
  BusMessage signal = bus_.newSignal("/", kObjectManagerInterface, "InterfacesRemoved");
  if (signal == nullptr || !isRunning_) return;
  sd_bus_message_append(signal.get(), "oas", path.c_str(), 2, kPropertiesInterface, interface);
  bus_.sendSignal(std::move(signal));
}

void Bluetoothd::tellBoolean(const std::string& path, const char* interface, const char* name,
                             bool value) {
  BusMessage signal = bus_.newSignal(path, kPropertiesInterface, "PropertiesChanged");
  if (signal == nullptr || !isRunning_) return;
  sd_bus_message_append(signal.get(), "sa{sv}as", interface, 1, name, "b", value ? 1 : 0, 0);
  bus_.sendSignal(std::move(signal), interface);
}

void Bluetoothd::listObjects(const BusMessage& call) {
  BusMessage reply = MessageBus::newReply(call);
  sd_bus_message* message = reply.get();
  sd_bus_message_open_container(message, 'a', "{oa{sa{sv}}}");
  const auto append = [&](const std::string& path, const auto& interfaces) {
    sd_bus_message_open_container(message, 'e', "oa{sa{sv}}");
    sd_bus_message_append(message, "o", path.c_str());
    interfaces();
    sd_bus_message_close_container(message);
  };
  for (const auto& device : devices_) {
    if (!device->hasObject()) continue;
    if (device->hasGattObjects_) {
      for (auto gatt = device->gatt_.rbegin(); gatt != device->gatt_.rend(); ++gatt) {
        append(device->path() + gatt->path, [&] { appendGatt(message, device->path(), *gatt); });
      }
    }
    append(device->path(), [&] {
      appendDevice(message, device->name_, device->isConnected_, device->isResolved_,
                   device->hasRssi_);
    });
  }
  for (const auto& entry : adapters_) {
    const auto& adapter = entry.second;
    append(entry.first,
           [&] { appendAdapter(message, adapter.isPowered, adapter.isDiscovering()); });
  }
  sd_bus_message_close_container(message);
  bus_.sendReply(std::move(reply));
  witness_.didListObjects();
}

void Bluetoothd::serveProperty(const BusMessage& call, const std::string& path) {
  const char* interface = nullptr;
  const char* name = nullptr;
  if (sd_bus_message_read(call.get(), "ss", &interface, &name) < 0) return;
  RemoteDevice* device = deviceAt(path);
  if (device == nullptr) return bus_.sendError(call, kUnknownObject, "No such object");
  lookAtSockets(*device);
  BusMessage reply = MessageBus::newReply(call);
  const std::string property = name;
  const bool isConnected = device->isConnected_;
  const bool isGatt = path != device->path();
  if (isGatt && !device->hasGattObjects_) {
    return bus_.sendError(call, kUnknownObject, "No such object");
  }
  if (isGatt && property == "UUID") {
    sd_bus_message_append(reply.get(), "v", "s", "");
  } else {
    sd_bus_message_append(reply.get(), "v", "b", property == "Connected" && isConnected ? 1 : 0);
  }
  bus_.sendReply(std::move(reply));
}

// --- GATT

void Bluetoothd::serveGatt(const BusMessage& call, RemoteDevice& device, Gatt& gatt,
                           const std::string& member) {
  // It may see a call before it sees that the client has closed its end.
  if (member != "AcquireNotify" || dice_.oneIn(2)) lookAtSockets(device);
  if (member == "StartNotify") return startNotify(call, device, gatt);
  if (member == "StopNotify") {
    unsubscribe(device, gatt);
    return reply(call);
  }
  if (!device.isConnected_) return bus_.sendError(call, kFailed, "Not connected");
  if (member == "ReadValue") return read(call, device, gatt);
  if (member == "WriteValue") return write(call, device, gatt);
  if (member == "AcquireNotify") return acquire(call, device, gatt);
  bus_.sendError(call, kUnknownMethod, "No such method");
}

void Bluetoothd::request(const BusMessage& call, RemoteDevice& device, const char* verb, Gatt& gatt,
                         const std::function<void(Witness::Fate)>& answer) {
  const Witness::Fate fate = witness_.fateOf(device, verb, gatt.uuid);
  const std::size_t number = ++requestCount_;
  pending_.emplace(number, Pending{&device, &gatt, BusMessage(sd_bus_message_ref(call.get()))});
  if (fate == Witness::Fate::ignore) {
    later(kAttLimit, [this, number, &device] {
      if (pending_.contains(number)) dropLink(device);
    });
    return;
  }
  later(shortTime(), [this, number, fate, answer, &device] {
    if (!pending_.contains(number)) return;
    if (fate == Witness::Fate::drop) return dropLink(device);
    const auto kept = pending_.extract(number);
    answer(fate);
    wake(device);
  });
}

void Bluetoothd::read(const BusMessage& call, RemoteDevice& device, Gatt& gatt) {
  request(call, device, "read", gatt,
          [this, &device, &gatt, call = share(call)](Witness::Fate fate) {
            const BusMessage owned = share(call);
            ReadResult result = AttError::readNotPermitted;
            if (fate == Witness::Fate::serve) result = device.model_.read(gatt.index);
            const Bytes* value = std::get_if<Bytes>(&result);
            if (value == nullptr) {
              bus_.sendError(owned, kFailed, "Operation failed with ATT error: 0x02");
              return witness_.didRead(device, gatt.uuid, nullptr);
            }
            tellValue(device, gatt, *value);  // its echo
            BusMessage reply = MessageBus::newReply(owned);
            sd_bus_message_append_array(reply.get(), 'y', value->data(), value->size());
            bus_.sendReply(std::move(reply));
            witness_.didRead(device, gatt.uuid, value);
          });
}

void Bluetoothd::write(const BusMessage& call, RemoteDevice& device, Gatt& gatt) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (sd_bus_message_read_array(call.get(), 'y', &bytes, &size) < 0) return;
  Bytes value(size);
  if (size > 0) std::memcpy(value.data(), bytes, size);
  request(call, device, "write", gatt,
          [this, &device, &gatt, value, call = share(call)](Witness::Fate fate) {
            const BusMessage owned = share(call);
            AttError error = AttError::writeNotPermitted;
            if (fate == Witness::Fate::serve) error = device.model_.write(gatt.index, value);
            witness_.didWrite(device, gatt.uuid, value);
            if (error == AttError::none) return reply(owned);
            bus_.sendError(owned, kFailed, "Operation failed with ATT error: 0x03");
          });
}

void Bluetoothd::acquire(const BusMessage& call, RemoteDevice& device, Gatt& gatt) {
  if (!traits.offersSockets || !gatt.declared.notify) {
    return bus_.sendError(call, kNotSupported, "Operation is not supported");
  }
  if (gatt.way != Gatt::Way::none) return bus_.sendError(call, kInProgress, "In progress");
  request(call, device, "subscribe", gatt,
          [this, &device, &gatt, call = share(call)](Witness::Fate fate) {
            const BusMessage owned = share(call);
            AttError error = AttError::unlikely;
            if (fate == Witness::Fate::serve) error = device.model_.subscribe(gatt.index, true);
            if (error != AttError::none) {
              witness_.didAnswerSubscription(device, gatt.uuid, false);
              if (!traits.answersRefusedSockets) return bus_.forget(owned);
              return bus_.sendError(owned, kFailed, "Operation failed with ATT error: 0x0e");
            }
            std::array<int, 2> ends{};
            if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0,
                           ends.data()) != 0) {
              return;
            }
            BusMessage reply = MessageBus::newReply(owned);
            sd_bus_message_append(reply.get(), "hq", ends[1], 247);
            close(ends[1]);
            gatt.way = Gatt::Way::socket;
            gatt.socket = ends[0];
            bus_.sendReply(std::move(reply));
            witness_.didAnswerSubscription(device, gatt.uuid, true);
          });
}

void Bluetoothd::startNotify(const BusMessage& call, RemoteDevice& device, Gatt& gatt) {
  if (!device.isConnected_) return reply(call);  // and does nothing
  if (gatt.way != Gatt::Way::none) return bus_.sendError(call, kInProgress, "In progress");
  request(call, device, "subscribe", gatt,
          [this, &device, &gatt, call = share(call)](Witness::Fate fate) {
            AttError error = AttError::unlikely;
            if (fate == Witness::Fate::serve) error = device.model_.subscribe(gatt.index, true);
            if (error != AttError::none) {
              const BusMessage owned = share(call);
              witness_.didAnswerSubscription(device, gatt.uuid, false);
              return bus_.sendError(owned, kFailed, "Operation failed with ATT error: 0x0e");
            }
            gatt.way = Gatt::Way::signals;
            const auto confirm = [this, call, &device, &gatt] {
              reply(share(call));
              witness_.didAnswerSubscription(device, gatt.uuid, true);
            };
            if (!traits.signalsValuesEarly) return confirm();
            later(shortTime() * 20, [confirm, &device, &gatt, generation = device.generation,
                                     subscription = ++gatt.subscription] {
              if (device.generation == generation && gatt.subscription == subscription) confirm();
            });
          });
}

void Bluetoothd::unsubscribe(RemoteDevice& device, Gatt& gatt) {
  if (gatt.way == Gatt::Way::none) return;
  if (gatt.socket >= 0) close(std::exchange(gatt.socket, -1));
  gatt.way = Gatt::Way::none;
  ++gatt.subscription;
  witness_.didEndSubscription(device, gatt.uuid);
  if (device.isConnected_) device.model_.subscribe(gatt.index, false);
}

// The client ends a subscription by closing its end.
void Bluetoothd::lookAtSockets(RemoteDevice& device) {
  for (Gatt& gatt : device.gatt_) {
    if (gatt.way != Gatt::Way::socket) continue;
    pollfd end{gatt.socket, 0, 0};
    if (::poll(&end, 1, 0) > 0 && (end.revents & (POLLHUP | POLLERR)) != 0) {
      unsubscribe(device, gatt);
    }
  }
}

void Bluetoothd::takeValue(RemoteDevice& device, Gatt& gatt, const Bytes& value) {
  if (gatt.way == Gatt::Way::signals) {
    tellValue(device, gatt, value);
    witness_.didSendValue(device, gatt.uuid, value);
  } else if (gatt.way == Gatt::Way::socket) {
    const ssize_t sent =
        ::send(gatt.socket, value.data(), value.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) return witness_.didSendValue(device, gatt.uuid, value);
    if (errno == EAGAIN) witness_.didLose(device, gatt.uuid);
  }
}

void Bluetoothd::tellValue(const RemoteDevice& device, const Gatt& gatt, const Bytes& value) {
  BusMessage signal =
      bus_.newSignal(device.path() + gatt.path, kPropertiesInterface, "PropertiesChanged");
  if (signal == nullptr) return;
  appendValueChange(signal.get(), value);
  bus_.sendSignal(std::move(signal), kCharacteristicInterface);
}

// --- The device's end of the link

RemoteDevice::~RemoteDevice() {
  for (const Gatt& gatt : gatt_) {
    if (gatt.socket >= 0) close(gatt.socket);
  }
}

bool RemoteDevice::notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) {
  const std::size_t size = std::min(value.size(), largestNotification());
  for (Gatt& gatt : gatt_) {
    if (gatt.isService || gatt.index != characteristic) continue;
    bluetoothd_.takeValue(*this, gatt,
                          Bytes(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  return true;
}

void RemoteDevice::drop() {
  bluetoothd_.later(Microseconds(0), [this] { bluetoothd_.dropLink(*this); });
}

const RemoteDevice::Gatt* RemoteDevice::find(std::string_view uuid) const {
  const auto found = std::ranges::find(gatt_, uuid, &Gatt::uuid);
  return found == gatt_.end() ? nullptr : &*found;
}

bool RemoteDevice::isSubscribed(std::string_view uuid) const {
  const Gatt* gatt = find(uuid);
  return gatt != nullptr && gatt->way != Gatt::Way::none;
}

}  // namespace lab
