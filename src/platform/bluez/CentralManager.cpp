#include "platform/bluez/CentralManager.h"

#include <algorithm>

namespace platform::bluez {

namespace {

// When bluetoothd starts, its adapters appear, and are powered on, some time after its name.
constexpr std::chrono::seconds kSettlingTime{5};

// An adapter that is pulled out first loses its power, and disappears some milliseconds later. A
// bluetoothd that is told to end (systemctl restart bluetooth) does the same to its adapters and
// then leaves the bus, which is a reset.
constexpr std::chrono::milliseconds kLossTime{300};

std::string_view keyOf(std::string_view devicePath) {
  return devicePath.substr(devicePath.rfind('/') + 1);
}

}  // namespace

CentralManager::CentralManager(std::shared_ptr<Loop> loop, CBCentralManagerDelegate& delegate,
                               AdapterChoice choice)
    : loop_(std::move(loop)),
      delegate_(delegate),
      choice_(std::move(choice)),
      settling_(*loop_,
                [this] {
                  isSettling_ = false;
                  adaptersDidChange();
                }),
      loss_(*loop_, [this] { setState(lossState_); }),
      stack_(*loop_, *this),
      discovery_(
          *loop_, [this] { stack_.requestSnapshot(); },
          [this] { setState(CBManagerState::unauthorized); }) {
  loop_->setOnBusLost([this] {
    forgetStack();
    setState(CBManagerState::unsupported);
  });
  if (loop_->useBus().get() == nullptr) {
    setState(CBManagerState::unsupported);
  } else {
    stack_.start();
  }
}

CentralManager::~CentralManager() {
  loop_->setOnBusLost(nullptr);
  for (const auto& [key, peripheral] : peripherals_) {
    peripheral->link().forget();
    peripheral->deviceDidDisappear();
  }
  loop_->deliveries().clear();
}

void CentralManager::scanForPeripherals() {
  if (state_ != CBManagerState::poweredOn) return;
  isScanning_ = true;
  ++scan_;
  std::erase_if(peripherals_, [](const auto& entry) {
    return !entry.second->isPresent() && entry.second.use_count() == 1 &&
           !entry.second->link().isWanted();
  });
  if (discovery_.isOn()) {
    stack_.requestSnapshot();
  } else {
    updateDiscovery();
  }
}

void CentralManager::stopScan() {
  isScanning_ = false;
  updateDiscovery();
}

void CentralManager::connect(const std::shared_ptr<CBPeripheral>& peripheral) {
  Peripheral& wanted = static_cast<Peripheral&>(*peripheral);
  wanted.link().want([this, &wanted] { linkDidComeUp(wanted); });
  updateDiscovery();
}

void CentralManager::stackDidBecomeUnavailable(CBManagerState state) {
  setState(state);
}

void CentralManager::stackDidStart() {
  areAdaptersKnown_ = false;
  isSettling_ = true;
  settling_.start(kSettlingTime);
}

void CentralManager::stackDidEnd() {
  forgetStack();
  setState(CBManagerState::resetting);
}

void CentralManager::forgetStack() {
  isSettling_ = false;
  settling_.stop();
  areAdaptersKnown_ = false;
  adapters_.clear();
  setAdapter("");
}

void CentralManager::snapshotDidArrive(std::span<const Object> objects) {
  areAdaptersKnown_ = true;
  adapters_.clear();
  for (const Object& object : objects) {
    if (object.adapter) addAdapter(object.path, *object.adapter);
  }
  judgeAdapters();
  for (const Object& object : objects) deviceDidChange(object);
}

void CentralManager::objectDidAppear(const Object& object) {
  if (object.adapter) {
    addAdapter(object.path, *object.adapter);
    adaptersDidChange();
  }
  deviceDidChange(object);
}

void CentralManager::objectDidChange(const Object& object) {
  if (!isKnown(object)) return stack_.requestSnapshot();
  if (object.adapter && object.adapter->powered) {
    adapters_.find(object.path)->second.isPowered = *object.adapter->powered;
    adaptersDidChange();
  }
  deviceDidChange(object);
}

// Objects of other adapters count as known, since the bridge has no use for them.
bool CentralManager::isKnown(const Object& object) const {
  if (object.adapter && !adapters_.contains(object.path)) return false;
  if (!object.device || !isOnAdapter(object.path)) return true;
  const auto device = peripherals_.find(keyOf(object.path));
  return device != peripherals_.end() && device->second->isPresent();
}

void CentralManager::objectDidDisappear(const RemovedObject& object) {
  if (object.adapter) {
    const auto adapter = adapters_.find(object.path);
    if (adapter != adapters_.end()) adapters_.erase(adapter);
    adaptersDidChange();
  }
  if (object.device && isOnAdapter(object.path)) deviceDidDisappear(object.path);
  if (object.characteristic) {
    const std::string_view device = parentOf(parentOf(object.path));
    const auto owner = peripherals_.find(keyOf(device));
    if (isOnAdapter(device) && owner != peripherals_.end()) {
      owner->second->objectDidDisappear(object.path);
    }
  }
}

void CentralManager::addAdapter(std::string_view path, const AdapterProperties& properties) {
  adapters_[std::string(path)] = {
      .isPowered = properties.powered == true,
      .isAdmitted = choice_.admits(path, properties.address.value_or(""))};
}

// The devices of an adapter that was not in use before have to be taken from a snapshot. Nothing is
// concluded before the first snapshot, even if BlueZ takes longer than kSettlingTime to answer.
void CentralManager::adaptersDidChange() {
  if (!areAdaptersKnown_) return;
  const std::string before = adapter_;
  judgeAdapters();
  if (!adapter_.empty() && adapter_ != before) stack_.requestSnapshot();
}

// An adapter stays in use until it is lost. The loss is reported even if another adapter is
// powered, since the links were on this one.
void CentralManager::judgeAdapters() {
  const auto current = adapters_.find(adapter_);
  const bool isPresent = current != adapters_.end();
  const bool isPowered = isPresent && current->second.isPowered;
  if (state_ == CBManagerState::poweredOn && !isPowered) {
    if (!loss_.isRunning()) {
      lossState_ = CBManagerState::poweredOff;
      loss_.start(kLossTime);
    }
    if (!isPresent) lossState_ = CBManagerState::unsupported;
  } else if (loss_.isRunning()) {
    setState(lossState_);  // it is on again already, but scan and links have ended
    setState(CBManagerState::poweredOn);
  } else if (!isPowered) {
    chooseAdapter();
  } else {
    setState(CBManagerState::poweredOn);
  }
}

void CentralManager::chooseAdapter() {
  const std::string* best = bestAdapter();
  const bool isPowered = best != nullptr && adapters_[*best].isPowered;
  // After a restart of BlueZ, the adapter that was used before may be the last to come back.
  const bool isExpected =
      isPowered && (!choice_.isAny() || lastAdapter_.empty() || lastAdapter_ == *best);
  if (isSettling_ && !isExpected) return;
  setAdapter(best != nullptr ? *best : "");
  if (best == nullptr) return setState(CBManagerState::unsupported);
  setState(isPowered ? CBManagerState::poweredOn : CBManagerState::poweredOff);
}

const std::string* CentralManager::bestAdapter() const {
  const auto isAdmitted = [](const auto& each) { return each.second.isAdmitted; };
  const auto isUsable = [](const auto& each) {
    return each.second.isAdmitted && each.second.isPowered;
  };
  const auto last = adapters_.find(lastAdapter_);
  if (last != adapters_.end() && isUsable(*last)) return &last->first;
  auto best = std::ranges::find_if(adapters_, isUsable);
  if (best == adapters_.end()) best = std::ranges::find_if(adapters_, isAdmitted);
  return best != adapters_.end() ? &best->first : nullptr;
}

void CentralManager::setAdapter(const std::string& path) {
  if (adapter_ == path) return;
  adapter_ = path;
  discovery_.reset(path);
  forgetDevices();
}

void CentralManager::setState(CBManagerState state) {
  if (state_ == state) return;
  state_ = state;
  loss_.stop();
  if (state == CBManagerState::poweredOn) {
    isSettling_ = false;
    settling_.stop();
    lastAdapter_ = adapter_;
    updateDiscovery();
  } else {
    isScanning_ = false;
    discovery_.reset(adapter_);
  }
  loop_->deliveries().push([this, state] {
    toldState_ = state;
    delegate_.centralManagerDidUpdateState(*this);
  });
}

// A connected device does not advertise, so it counts as seen: another program may have connected
// to it, or an earlier bridge that ended while it was connecting.
void CentralManager::deviceDidChange(const Object& object) {
  if (!object.device || adapter_.empty() || !isOnAdapter(object.path)) return;
  const std::string_view key = keyOf(object.path);
  auto known = peripherals_.find(key);
  if (known == peripherals_.end()) {
    known = peripherals_.emplace(key, std::make_shared<Peripheral>(loop_)).first;
  }
  Peripheral& peripheral = *known->second;
  peripheral.deviceDidChange(object.path, *object.device);
  const bool wasSeen =
      object.device->wasSeen || peripheral.wasReportedFor(scan_) || peripheral.isConnected();
  if (isScanning_ && wasSeen && peripheral.isNewsFor(scan_)) report(peripheral);
}

void CentralManager::deviceDidDisappear(std::string_view path) {
  const auto known = peripherals_.find(keyOf(path));
  if (known == peripherals_.end()) return;
  known->second->deviceDidDisappear();
  if (forget(known->first)) return;
  // Perhaps the bridge is still to be told of it: then it can be forgotten after that.
  loop_->deliveries().push([this, key = known->first] { forget(key); });
}

// Whether it could be: unless it is there, or somebody holds it.
bool CentralManager::forget(std::string_view key) {
  const auto known = peripherals_.find(key);
  if (known == peripherals_.end()) return true;
  Peripheral& peripheral = *known->second;
  if (peripheral.isPresent() || peripheral.link().isWanted() || known->second.use_count() > 1) {
    return false;
  }
  peripherals_.erase(known);
  return true;
}

void CentralManager::forgetDevices() {
  for (const auto& [key, peripheral] : peripherals_) peripheral->deviceDidDisappear();
}

void CentralManager::report(Peripheral& peripheral) {
  peripheral.setReportedFor(scan_);
  loop_->deliveries().push([this, scan = scan_, reported = peripheral.shared_from_this()] {
    if (isScanning_ && scan == scan_) delegate_.centralManagerDidDiscover(*this, reported);
  });
}

void CentralManager::linkDidComeUp(Peripheral& peripheral) {
  loop_->deliveries().push([this, connected = peripheral.shared_from_this()] {
    delegate_.centralManagerDidConnect(*this, connected);
  });
  updateDiscovery();
}

// BlueZ removes a device that it no longer discovers, so discovery goes on for as long as a link is
// wanted, even without a scan.
void CentralManager::updateDiscovery() {
  if (state_ != CBManagerState::poweredOn) return;
  const bool isLinkWanted = std::ranges::any_of(
      peripherals_, [](const auto& entry) { return entry.second->link().isWanted(); });
  discovery_.want(isScanning_ || isLinkWanted);
}

}  // namespace platform::bluez
