// Both delegates of a contract test: records the callbacks, and checks what has to hold for each of
// them.
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
  // The latest of this kind; there has to be one.
  const Event& last(What what) const;
  // The values of one characteristic that came without an error.
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
