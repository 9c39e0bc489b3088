// The bridge's core and the oracle side by side: both get the same events, and what they do is
// compared line by line and call by call. A difference is thrown.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ComBLE.h"
#include "tests/oracle/Bridge.h"
#include "tests/oracle/subject/RecordedPlatform.h"

namespace subject {

struct Difference : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Objects are named by numbers: a service or a characteristic by its index in the oracle's lists
// (everyService, everyCharacteristic), and several with the same identifier by `copy`.
struct CharacteristicId {
  std::size_t place;
  std::size_t copy;
};

class Twin {
 public:
  static constexpr std::size_t deviceCount = 6;
  static constexpr std::size_t copyCount = 2;

  Twin();

  // True once the process would have ended; nothing else may be called then.
  bool ended() const { return ended_; }

  void stateUpdated(int state);
  void discovered(std::size_t device, const std::optional<std::string>& name);
  void connected(std::size_t device);
  void secondPassed(double more);

  // Callbacks to the device's handler, if it has one.
  void servicesDiscovered(std::size_t device, const std::optional<std::vector<std::size_t>>& places,
                          const std::optional<oracle::Failure>& failure);
  void characteristicsDiscovered(std::size_t device, std::size_t service,
                                 const std::optional<std::vector<CharacteristicId>>& found,
                                 const std::optional<oracle::Failure>& failure);
  void valueUpdated(std::size_t device, CharacteristicId characteristic,
                    const std::optional<oracle::Bytes>& value,
                    const std::optional<oracle::Failure>& failure = std::nullopt);
  void notificationStateUpdated(std::size_t device, CharacteristicId characteristic,
                                const std::optional<oracle::Failure>& failure);

  void command(const std::string& line);
  void standardInput(const std::string& bytes, bool isRunning);  // ends the process

 private:
  // A device that has every service and characteristic.
  struct Peer {
    std::shared_ptr<RecordedPeripheral> peripheral;
    std::vector<std::unique_ptr<RecordedService>> services;
    std::vector<std::unique_ptr<RecordedCharacteristic>> characteristics;
  };

  Peer& peer(std::size_t device);
  RecordedCharacteristic& characteristicOf(Peer& peer, CharacteristicId id);
  oracle::Device deviceOf(const Peer& peer) const;
  static oracle::Characteristic modelOf(const RecordedCharacteristic& object, std::size_t place);

  void both(const std::function<void()>& core, const std::function<void()>& model);
  void toHandler(std::size_t device,
                 const std::function<void(platform::CBPeripheralDelegate&, Peer&)>& core,
                 const std::function<void(oracle::Handler&)>& model);

  Entries entries_;
  oracle::Expected expected_;
  RecordedPlatform platform_;
  std::vector<Peer> peers_;
  ComBLE bridge_;
  oracle::Bridge model_;
  bool ended_ = false;
};

}  // namespace subject
