// Both delegates of a contract test: keeps what it was told, and checks what holds for every
// callback.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "platform/Platform.h"

namespace contract {

class Recorder final : public platform::CBCentralManagerDelegate,
                       public platform::CBPeripheralDelegate {
 public:
  enum class What { state, discover, connect, services, characteristics, value, notificationState };
  struct Event {
    What what{};
    platform::CBManagerState state{};
    std::shared_ptr<platform::CBPeripheral> peripheral{};
    platform::CBPeripheral* source = nullptr;
    std::optional<std::string> name{};
    platform::CBService* service = nullptr;
    platform::CBCharacteristic* characteristic = nullptr;
    std::optional<std::vector<std::uint8_t>> value{};
    std::optional<platform::Error> error{};
  };

  const std::vector<Event>& events() const { return events_; }
  std::size_t count(What what) const;
  // The latest of its kind; it must have come.
  const Event& last(What what) const;
  // All values of one characteristic that came without an error.
  std::vector<std::vector<std::uint8_t>> values(const platform::CBCharacteristic& of) const;
  void forget() { events_.clear(); }

  // Called in every callback.
  std::function<void()> onCallback;

  // True while the test is inside runUntil, the only place where callbacks may come.
  void setServing(bool isServing) { isServing_ = isServing; }

  void centralManagerDidUpdateState(platform::CBCentralManager& central) override;
  void centralManagerDidDiscover(platform::CBCentralManager& central,
                                 const std::shared_ptr<platform::CBPeripheral>& device) override;
  void centralManagerDidConnect(platform::CBCentralManager& central,
                                const std::shared_ptr<platform::CBPeripheral>& device) override;
  void peripheralDidDiscoverServices(platform::CBPeripheral& peripheral,
                                     const platform::Error* error) override;
  void peripheralDidDiscoverCharacteristicsFor(platform::CBPeripheral& peripheral,
                                               platform::CBService& service,
                                               const platform::Error* error) override;
  void peripheralDidUpdateValueFor(platform::CBPeripheral& peripheral,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;
  void peripheralDidUpdateNotificationStateFor(platform::CBPeripheral& peripheral,
                                               platform::CBCharacteristic& characteristic,
                                               const platform::Error* error) override;

 private:
  Event& add(What what, const platform::Error* error);

  std::vector<Event> events_;
  std::thread::id mainThread_ = std::this_thread::get_id();
  bool isServing_ = false;
};

}  // namespace contract
