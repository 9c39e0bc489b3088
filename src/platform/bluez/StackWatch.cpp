#include "platform/bluez/StackWatch.h"

#include <string>

namespace platform::bluez {

namespace {

constexpr char kDaemonName[] = "org.freedesktop.DBus";
constexpr char kDaemonPath[] = "/org/freedesktop/DBus";

// Without a controller, systemd does not refuse to start bluetoothd, but lets the request wait for
// 25 s. A bluetoothd that can start owns its name within a second or two, and a working bus answers
// at once who owns a name.
constexpr std::chrono::seconds kLimit{10};

CBManagerState stateFor(sd_bus_message* failure) {
  return isAccessDenied(failure) ? CBManagerState::unauthorized : CBManagerState::unsupported;
}

Message daemonMethod(const Bus& bus, const char* member) {
  sd_bus_message* message = nullptr;
  if (bus.get() == nullptr ||
      sd_bus_message_new_method_call(bus.get(), &message, kDaemonName, kDaemonPath, kDaemonName,
                                     member) < 0) {
    return nullptr;
  }
  return Message(message);
}

std::string objectsRule(const char* member) {
  return std::string("type='signal',sender='org.bluez',path='/',interface='") +
         kObjectManagerInterface + "',member='" + member + "'";
}

}  // namespace

StackWatch::StackWatch(Loop& loop, Listener& listener)
    : loop_(loop), listener_(listener), limit_(loop, [this] { giveUp(); }) {}

void StackWatch::start() {
  listen();
  const Message call = daemonMethod(loop_.useBus(), "GetNameOwner");
  if (call != nullptr) sd_bus_message_append(call.get(), "s", kStackName);
  ownerCall_.start(loop_.useBus(), call, [this](sd_bus_message* reply) { handleOwner(reply); });
  limit_.start(kLimit);
}

// Called before any question, so that no change is missed between an answer and the first signal.
void StackWatch::listen() {
  const Bus& bus = loop_.useBus();
  const auto add = [&](const std::string& rule, Match::OnSignal onSignal) {
    matches_.push_back(std::make_unique<Match>(bus, rule, std::move(onSignal)));
  };
  add("type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
      "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='org.bluez'",
      [this](sd_bus_message* signal) { handleOwnerChange(signal); });

  const auto changed = [this](sd_bus_message* signal) {
    if (!isWorthTelling(signal)) return;
    if (const auto object = parsePropertiesChanged(signal)) listener_.objectDidChange(*object);
  };
  add(propertiesChangedRule("path_namespace", "/org/bluez", kAdapterInterface), changed);
  add(propertiesChangedRule("path_namespace", "/org/bluez", kDeviceInterface), changed);
  add(objectsRule("InterfacesAdded"), [this](sd_bus_message* signal) {
    if (!isWorthTelling(signal)) return;
    if (const auto object = parseInterfacesAdded(signal)) listener_.objectDidAppear(*object);
  });
  add(objectsRule("InterfacesRemoved"), [this](sd_bus_message* signal) {
    if (!isWorthTelling(signal)) return;
    if (const auto object = parseInterfacesRemoved(signal)) listener_.objectDidDisappear(*object);
  });
}

bool StackWatch::isWorthTelling(sd_bus_message* signal) const {
  return hasAnswered_ && loop_.useBus().isFromStack(signal);
}

void StackWatch::handleOwner(sd_bus_message* reply) {
  limit_.stop();
  const char* owner = nullptr;
  if (isError(reply) || sd_bus_message_read_basic(reply, SD_BUS_TYPE_STRING, &owner) <= 0) {
    if (isAccessDenied(reply)) {
      listener_.stackDidBecomeUnavailable(CBManagerState::unauthorized);
    } else {
      requestStart();
    }
    return;
  }
  loop_.useBus().setStackOwner(owner);
  requestSnapshot();
}

void StackWatch::requestStart() {
  const Message call = daemonMethod(loop_.useBus(), "StartServiceByName");
  if (call != nullptr) sd_bus_message_append(call.get(), "su", kStackName, 0U);
  startCall_.start(loop_.useBus(), call, [this](sd_bus_message* reply) { handleStart(reply); });
  limit_.start(kLimit);
}

// Success needs no action: the signal of the new owner came before.
void StackWatch::handleStart(sd_bus_message* reply) {
  limit_.stop();
  if (isError(reply) && loop_.useBus().stackOwner().empty()) {
    listener_.stackDidBecomeUnavailable(stateFor(reply));
  }
}

void StackWatch::giveUp() {
  ownerCall_.cancel();
  startCall_.cancel();
  listener_.stackDidBecomeUnavailable(CBManagerState::unsupported);
}

void StackWatch::handleOwnerChange(sd_bus_message* signal) {
  const char* sender = sd_bus_message_get_sender(signal);
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  if (sender == nullptr || std::string_view(sender) != kDaemonName ||
      sd_bus_message_read(signal, "sss", &name, &before, &after) <= 0) {
    return;
  }
  Bus& bus = loop_.useBus();
  if (!bus.stackOwner().empty()) {
    bus.setStackOwner("");
    snapshotCall_.cancel();
    hasAnswered_ = false;
    listener_.stackDidEnd();
  }
  limit_.stop();
  if (*after == '\0') return;
  ownerCall_.cancel();
  bus.setStackOwner(after);
  listener_.stackDidStart();
  requestSnapshot();
}

void StackWatch::requestSnapshot() {
  if (snapshotCall_.isPending()) return;
  snapshotCall_.start(loop_.useBus(), loop_.useBus().managedObjects(),
                      [this](sd_bus_message* reply) { handleSnapshot(reply); });
}

void StackWatch::handleSnapshot(sd_bus_message* reply) {
  const auto objects = isError(reply) ? std::nullopt : parseManagedObjects(reply);
  if (objects) {
    hasAnswered_ = true;
    listener_.snapshotDidArrive(*objects);
  } else {
    listener_.stackDidBecomeUnavailable(stateFor(reply));
  }
}

}  // namespace platform::bluez
