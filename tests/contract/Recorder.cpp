#include "contract/Recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace contract {

std::size_t Recorder::count(What what) const {
  const auto isOfKind = [what](const Event& event) { return event.what == what; };
  return static_cast<std::size_t>(std::count_if(events_.begin(), events_.end(), isOfKind));
}

const Recorder::Event& Recorder::last(What what) const {
  for (auto event = events_.rbegin(); event != events_.rend(); ++event) {
    if (event->what == what) return *event;
  }
  throw std::logic_error("nothing of that kind has come");
}

std::vector<std::vector<std::uint8_t>> Recorder::values(
    const platform::CBCharacteristic& of) const {
  std::vector<std::vector<std::uint8_t>> found;
  for (const Event& event : events_) {
    if (event.what == What::value && event.characteristic == &of && event.value) {
      found.push_back(*event.value);
    }
  }
  return found;
}

Recorder::Event& Recorder::add(What what, const platform::Error* error) {
  EXPECT_TRUE(isServing_) << "a callback from outside runUntil";
  EXPECT_EQ(std::this_thread::get_id(), mainThread_);
  Event& event = events_.emplace_back();
  event.what = what;
  if (error != nullptr) event.error = *error;
  if (onCallback) onCallback();
  return event;
}

void Recorder::centralManagerDidUpdateState(platform::CBCentralManager& central) {
  add(What::state, nullptr).state = central.state();
}

void Recorder::centralManagerDidDiscover(platform::CBCentralManager&,
                                         const std::shared_ptr<platform::CBPeripheral>& device) {
  Event& event = add(What::discover, nullptr);
  event.peripheral = device;
  event.name = device->name();
}

void Recorder::centralManagerDidConnect(platform::CBCentralManager&,
                                        const std::shared_ptr<platform::CBPeripheral>& device) {
  add(What::connect, nullptr).peripheral = device;
}

void Recorder::peripheralDidDiscoverServices(platform::CBPeripheral& peripheral,
                                             const platform::Error* error) {
  add(What::services, error).source = &peripheral;
}

void Recorder::peripheralDidDiscoverCharacteristicsFor(platform::CBPeripheral& peripheral,
                                                       platform::CBService& service,
                                                       const platform::Error* error) {
  Event& event = add(What::characteristics, error);
  event.source = &peripheral;
  event.service = &service;
}

void Recorder::peripheralDidUpdateValueFor(platform::CBPeripheral& peripheral,
                                           platform::CBCharacteristic& characteristic,
                                           const platform::Error* error) {
  Event& event = add(What::value, error);
  event.source = &peripheral;
  event.characteristic = &characteristic;
  if (const auto& value = characteristic.value()) {
    event.value.emplace(value->begin(), value->end());
  }
}

void Recorder::peripheralDidUpdateNotificationStateFor(platform::CBPeripheral& peripheral,
                                                       platform::CBCharacteristic& characteristic,
                                                       const platform::Error* error) {
  Event& event = add(What::notificationState, error);
  event.source = &peripheral;
  event.characteristic = &characteristic;
}

}  // namespace contract
