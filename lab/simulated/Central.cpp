#include "lab/simulated/Central.h"

#include <utility>

#include "lab/simulated/Peripheral.h"

namespace platform::simulated {

Central::Central(Air& air, CBCentralManagerDelegate& delegate, Time firstStateDelay)
    : air_(air), delegate_(delegate), number_(++air.managers) {
  air_.central = this;
  air_.after(firstStateDelay, [&air, number = number_] {
    if (air.central == nullptr || air.central->number_ != number) return;
    air.central->isStateKnown_ = true;
    air.central->postState();
  });
}

Central::~Central() {
  air_.central = nullptr;
  for (const auto& peripheral : air_.peripherals) peripheral->unwant();
}

void Central::post(std::function<void(Central&)> call) {
  air_.deliveries.push([&air = air_, number = number_, call = std::move(call)] {
    if (air.central != nullptr && air.central->number_ == number) call(*air.central);
  });
}

void Central::postState() {
  post([radio = air_.radio](Central& self) {
    self.state_ = radio;
    self.delegate_.centralManagerDidUpdateState(self);
  });
}

void Central::radioDidChange() {
  if (!air_.isPoweredOn()) stopScan();
  if (isStateKnown_) postState();
}

void Central::scanForPeripherals() {
  if (!air_.isPoweredOn()) return;
  scan_ = ++scans_;
  seen_.clear();
  for (const auto& peripheral : air_.peripherals) {
    if (peripheral->isLinked()) {
      report(*peripheral);
    } else {
      didAdvertise(*peripheral);
    }
  }
}

void Central::didAdvertise(Peripheral& peripheral) {
  if (scan_ == kNoScan || !peripheral.device().isPresent()) return;
  const Time delay = peripheral.device().advertisingDelay;
  air_.after(delay, [&air = air_, number = number_, scan = scan_, &peripheral] {
    Central* self = air.central;
    if (self == nullptr || self->number_ != number || self->scan_ != scan) return;
    const bool isHeard = peripheral.device().isPresent() && !peripheral.isLinked();
    if (isHeard && !self->seen_.contains(&peripheral)) self->report(peripheral);
  });
}

void Central::nameDidChange(Peripheral& peripheral) {
  const auto seen = seen_.find(&peripheral);
  const bool isNews = scan_ != kNoScan && seen != seen_.end() && !seen->second;
  if (isNews && peripheral.nameOnAir()) report(peripheral);
}

void Central::report(Peripheral& peripheral) {
  const std::optional<std::string> name = peripheral.nameOnAir();
  seen_[&peripheral] = name.has_value();
  post([scan = scan_, peripheral = peripheral.shared_from_this(), name](Central& self) {
    if (self.scan_ != scan) return;
    peripheral->setName(name);
    self.delegate_.centralManagerDidDiscover(self, peripheral);
  });
}

void Central::connect(const std::shared_ptr<CBPeripheral>& peripheral) {
  static_cast<Peripheral&>(*peripheral).want();
}

void Central::linkDidComeUp(Peripheral& peripheral) {
  if (!linksReported_.insert(&peripheral).second) return;
  post([peripheral = peripheral.shared_from_this(), name = peripheral.nameOnAir()](Central& self) {
    peripheral->setName(name);
    self.delegate_.centralManagerDidConnect(self, peripheral);
  });
}

void Central::linkDidGoDown(Peripheral& peripheral) {
  linksReported_.erase(&peripheral);
  didAdvertise(peripheral);
}

}  // namespace platform::simulated
