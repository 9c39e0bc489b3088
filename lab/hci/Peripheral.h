// A device model as a real Bluetooth LE peripheral, on a controller of its own.
//
// One thread, which either calls runUntil(), or polls fileDescriptor() for events() until
// deadline() at the latest and then calls serve(). serve() does not block, nothing is thrown, and a
// controller that is removed or does not answer is reported by didFail().
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "lab/DeviceModel.h"
#include "lab/att/AttServer.h"
#include "lab/hci/AdvertisingData.h"
#include "lab/hci/Controller.h"
#include "lab/hci/LinkFaults.h"

namespace lab {

// What happens on the air. UUIDs have the form of Uuid::text.
class PeripheralObserver : public AttObserver {
 public:
  // The controller is ready. address: as it is printed ("00:AA:01:01:00:24").
  virtual void didStart(const std::string& address) = 0;
  // The controller cannot be used (any more); nothing follows.
  virtual void didFail(const std::string& reason) = 0;
  virtual void didAdvertise() = 0;
  virtual void didConnect() = 0;
  // reason: an HCI error code, 0x13 when the other side ended the link.
  virtual void didDisconnect(std::uint8_t reason) = 0;
  virtual void didTurnAway() = 0;
  // A value has been handed to the controller.
  virtual void didSend(const Uuid& uuid, std::span<const std::uint8_t> value) = 0;

 protected:
  ~PeripheralObserver() = default;
};

class Peripheral final : private ControllerListener, private Link {
 public:
  using Clock = std::chrono::steady_clock;

  // Model and observer outlive the peripheral. largestMtu: the largest ATT MTU, 23 to 517 bytes.
  Peripheral(HciChannel channel, DeviceModel& model, PeripheralObserver& observer,
             std::size_t largestMtu = 517);
  // Disconnects and waits for the end of the link, a second at most: if the controller kept the
  // link, the central might never learn that it is gone (so with btvirt).
  ~Peripheral();

  int fileDescriptor() const { return controller_.fileDescriptor(); }
  short events() const;  // as poll takes them
  std::optional<Clock::time_point> deadline() const;
  void serve();

  // Serves until end, or until the controller has failed, or until otherInput is readable.
  void runUntil(Clock::time_point end, int otherInput = -1);

  bool hasFailed() const { return state_ == State::failed; }
  bool isConnected() const { return server_.has_value(); }

  // Obeys a control line about the radio: "advertise on|off", "connectable on|off",
  // "name-in advertisement|scan-response", "drop [XX]" (ends the link; XX: the HCI reason in
  // hexadecimal), "vanish" (switched off: no link, no advertising), "spare-links N" (of
  // Controller::leaveLinksAlone), "fault NAME=ARGUMENT" of LinkFaults, "fault clear". False for any
  // other line, and for "fault clear" too, since the model has to obey it as well.
  bool control(std::string_view line);

 private:
  enum class State { starting, ready, failed };

  void controllerReady(const std::string& address) override;
  void controllerFailed(const std::string& reason) override;
  void linkUp() override;
  void linkDown(std::uint8_t reason) override;
  void received(std::uint16_t channel, std::span<const std::uint8_t> payload) override;

  bool notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) override;
  std::size_t largestNotification() const override;
  std::optional<Bytes> withdraw(std::string_view service) override;
  void drop() override;

  void receivedRequest(std::span<const std::uint8_t> pdu);
  void answer(std::span<const std::uint8_t> pdu);
  void answerLateRequest(Clock::time_point now);
  void rejectSignal(std::span<const std::uint8_t> signal);
  void rejectPairing(std::span<const std::uint8_t> pairing);
  void valueHanded(const Uuid& uuid, const Bytes& value);
  void keepAdvertising(Clock::time_point now);
  void setAdvertising(bool enabled);
  bool controlRadio(std::string_view verb, std::string_view argument);

  DeviceModel& model_;
  PeripheralObserver& observer_;
  const std::size_t largestMtu_;
  Controller controller_;
  LinkFaults faults_;
  State state_ = State::starting;
  const Clock::time_point start_;
  std::optional<AttServer> server_;             // while a link is up
  std::optional<int> requestsUntilTurnedAway_;  // set while the link is one to turn away
  Bytes lateRequest_;                           // to be answered at lateAnswer_; empty for none
  Clock::time_point lateAnswer_;
  bool wasAdvertising_ = false;
  bool isAdvertising_ = true;
  bool isConnectable_ = true;
  NamePlace namePlace_ = NamePlace::advertisement;
  Clock::time_point nextAdvertisement_;
  std::optional<Clock::time_point> modelDeadline_;
};

}  // namespace lab
