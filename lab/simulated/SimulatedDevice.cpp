#include "lab/simulated/SimulatedDevice.h"

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace lab {
namespace {

namespace simulated = platform::simulated;

// A common ATT MTU on desktops, 247, less the three bytes of a notification's header.
constexpr std::size_t kLargestNotification = 244;

// When to call a model again that still has something due, as when a value found no room.
constexpr Microseconds kAgain{1000};

std::optional<std::string> advertised(std::string name) {
  if (name.empty()) return std::nullopt;
  return name;
}

simulated::Refusal refusalOf(AttError error) {
  if (error == AttError::none) return std::nullopt;
  return simulated::attError(static_cast<int>(error));
}

// The names that lab::AttServer::step has for requests.
std::string stepOf(simulated::RequestKind kind, const platform::CBUUID* identifier) {
  const auto of = [&](const char* verb) { return verb + identifier->description(); };
  switch (kind) {
    case simulated::RequestKind::discoverServices:
      return "services";
    case simulated::RequestKind::discoverCharacteristics:
      return "characteristics";
    case simulated::RequestKind::read:
      return of("read:");
    case simulated::RequestKind::write:
      return of("write:");
    case simulated::RequestKind::subscribe:
      return of("subscribe:");
    case simulated::RequestKind::unsubscribe:
      return of("unsubscribe:");
  }
  return {};
}

simulated::ReadResult resultOf(ReadResult result) {
  if (Bytes* value = std::get_if<Bytes>(&result)) return std::move(*value);
  return simulated::attError(static_cast<int>(std::get<AttError>(result)));
}

}  // namespace

SimulatedDevice::SimulatedDevice(simulated::Platform& platform, DeviceModel& model)
    : platform_(platform), model_(model), device_(platform.addDevice(advertised(model.name()))) {
  buildTree();
  device_.onConnected = [this] {
    buildTree();
    faults_.linkUp();
    model_.connected(*this);
    wake();
  };
  device_.onDisconnected = [this] {
    isDropping_ = false;
    model_.disconnected();
    wake();
  };
  wake();
}

// The identifiers of the tree, each service followed by its characteristics and a zero as its end.
std::vector<platform::CBUUID> SimulatedDevice::layout() const {
  std::vector<platform::CBUUID> found;
  for (const Service& service : model_.services()) {
    found.push_back(platform::CBUUID::parse(service.uuid).value());
    for (const Characteristic& characteristic : service.characteristics) {
      found.push_back(platform::CBUUID::parse(characteristic.uuid).value());
    }
    found.push_back(platform::CBUUID::UUIDWithString("0000"));
  }
  return found;
}

// Builds the tree anew if it has changed since the last link. The old services are only hidden: a
// central may still refer to them.
void SimulatedDevice::buildTree() {
  std::vector<platform::CBUUID> current = layout();
  if (current == layout_) return;
  layout_ = std::move(current);
  characteristics_.clear();
  for (simulated::DeviceService& old : device_.services) old.hidden = true;
  for (const Service& service : model_.services()) {
    simulated::DeviceService& onAir =
        device_.addService(platform::CBUUID::parse(service.uuid).value());
    for (const Characteristic& characteristic : service.characteristics) {
      addCharacteristic(onAir, characteristic);
    }
  }
}

void SimulatedDevice::addCharacteristic(simulated::DeviceService& service,
                                        const Characteristic& characteristic) {
  const CharacteristicIndex index = characteristics_.size();
  simulated::DeviceCharacteristic& onAir =
      service.addCharacteristic(platform::CBUUID::parse(characteristic.uuid).value());
  characteristics_.push_back(&onAir);
  onAir.readable = characteristic.read;
  onAir.writable = characteristic.write;
  onAir.notifies = characteristic.notify || characteristic.indicate;
  onAir.onRead = [this, index] {
    simulated::ReadResult result = resultOf(model_.read(index));
    wake();
    return result;
  };
  onAir.onWrite = [this, index](platform::Value value) {
    const AttError error = model_.write(index, value);
    wake();
    return refusalOf(error);
  };
  onAir.onSubscribe = [this, index](bool enabled) {
    const AttError error = model_.subscribe(index, enabled);
    wake();
    return refusalOf(error);
  };
}

bool SimulatedDevice::setFault(std::string_view name, std::string_view argument) {
  // Not late-at: here responseDelay delays answers.
  if (name == "late-at" || !faults_.set(name, argument)) return false;
  hasFaults_ = true;
  device_.refusesLink = [this] { return faults_.refusesConnection(); };
  device_.onRequest = [this](simulated::RequestKind kind, const platform::CBUUID* identifier) {
    obeyFaults(kind, identifier);
  };
  return true;
}

void SimulatedDevice::obeyFaults(simulated::RequestKind kind, const platform::CBUUID* identifier) {
  switch (faults_.onRequest(stepOf(kind, identifier))) {
    case LinkFaults::Verdict::drop:
      return device_.dropLink();
    case LinkFaults::Verdict::ignore:
      return device_.leaveUnanswered();
    case LinkFaults::Verdict::delay:  // never: late-at is not accepted
    case LinkFaults::Verdict::serve:
      return;
  }
}

void SimulatedDevice::wake() {
  advanceAt(platform_.time());
}

void SimulatedDevice::advanceAt(Microseconds time) {
  platform_.at(time, [this, turn = ++turn_] {
    if (turn == turn_) advance();
  });
}

void SimulatedDevice::advance() {
  const Microseconds now = platform_.time();
  const std::optional<Microseconds> next = model_.advance(now);
  updateName();
  if (next) advanceAt(*next > now ? *next : now + kAgain);
}

// A connected device does not advertise, so its new name can wait until the link has ended.
void SimulatedDevice::updateName() {
  if (device_.isConnected()) return;
  std::optional<std::string> name = advertised(model_.name());
  if (name != device_.name()) device_.setName(std::move(name));
}

bool SimulatedDevice::notify(CharacteristicIndex characteristic,
                             std::span<const std::uint8_t> value) {
  if (isDropping_) return true;
  const bool isTaken = device_.notify(*characteristics_.at(characteristic), value);
  if (isTaken && hasFaults_ && faults_.dropsAfterValue()) drop();
  return isTaken;
}

std::size_t SimulatedDevice::largestNotification() const {
  return kLargestNotification;
}

// Not at once, since the model calls this in the middle of its own work.
void SimulatedDevice::drop() {
  isDropping_ = true;
  platform_.after(Microseconds{0}, [this] { device_.dropLink(); });
}

}  // namespace lab
