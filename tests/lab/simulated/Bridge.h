// A small bridge on the simulated platform: connects to the one device, discovers all that it has,
// and records the callbacks as short texts.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "lab/simulated/Platform.h"

namespace simulated_test {

using platform::CBCharacteristic;
using platform::CBManagerState;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;
using platform::Value;
using platform::simulated::Bytes;
using platform::simulated::Device;
using platform::simulated::DeviceCharacteristic;
using platform::simulated::DeviceService;
using platform::simulated::kNever;
using platform::simulated::RequestKind;
using platform::simulated::Time;
using platform::simulated::TimeMode;

class Bridge final : public platform::CBCentralManagerDelegate,
                     public platform::CBPeripheralDelegate {
 public:
  explicit Bridge(platform::simulated::Platform& platform) : platform_(platform) {}

  void start() { manager = platform_.makeCentralManager(*this); }
  void run(std::chrono::milliseconds time) {
    platform_.runUntil(platform_.now() + std::chrono::duration<double>(time).count());
  }
  CBCharacteristic* find(const CBUUID& identifier) const;

  // "state 5", "found NAME" ("found" without one), "connected", "services 2" ("services error"),
  // "characteristics 1" ("characteristics error"), "subscribed" ("subscribed error"), "value 0102"
  // ("value error").
  std::vector<std::string> words;

  bool connects = true;
  std::vector<CBUUID> services;
  std::vector<CBUUID> characteristics;
  // Called for each characteristic when it has been discovered.
  std::function<void(CBPeripheral&, CBCharacteristic&)> onFound;
  // Called before a value is recorded.
  std::function<void(CBCharacteristic&)> onValue;

  std::unique_ptr<platform::CBCentralManager> manager;
  std::shared_ptr<CBPeripheral> peripheral;

  void centralManagerDidUpdateState(platform::CBCentralManager& central) override;
  void centralManagerDidDiscover(platform::CBCentralManager& central,
                                 const std::shared_ptr<CBPeripheral>& device) override;
  void centralManagerDidConnect(platform::CBCentralManager& central,
                                const std::shared_ptr<CBPeripheral>& device) override;
  void peripheralDidDiscoverServices(CBPeripheral& device, const Error* error) override;
  void peripheralDidDiscoverCharacteristicsFor(CBPeripheral& device, CBService& service,
                                               const Error* error) override;
  void peripheralDidUpdateValueFor(CBPeripheral& device, CBCharacteristic& characteristic,
                                   const Error* error) override;
  void peripheralDidUpdateNotificationStateFor(CBPeripheral& device,
                                               CBCharacteristic& characteristic,
                                               const Error* error) override;

 private:
  platform::simulated::Platform& platform_;
};

using Words = std::vector<std::string>;

inline constexpr CBUUID kService = CBUUID::UUIDWithString("1801");
inline constexpr CBUUID kFirst = CBUUID::UUIDWithString("2A01");
inline constexpr CBUUID kSecond = CBUUID::UUIDWithString("2A02");

}  // namespace simulated_test
