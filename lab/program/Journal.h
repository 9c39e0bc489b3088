// What happened on the air, one line per event, each written at once and whole:
//
//   address AA:BB:CC:DD:EE:FF   the controller is ready
//   advertising
//   connected                   turned-away (a link that a fault ended at its third request)
//   disconnected XX             the HCI reason; 13 when the central ended the link
//   read UUID                   wrote UUID HEX
//   subscribed UUID             unsubscribed UUID
//   refused STEP                an ATT error answered; STEP as in "subscribe:2A19"
//   sent UUID HEX               a notification or indication that the controller has accepted
//   failed REASON               the controller cannot be used (any more)
//
// UUID is in upper case: 4 digits when it is built on the Bluetooth base UUID, else 36 characters.
// HEX is in upper case without separators; the line of an empty value ends with the UUID.
#pragma once

#include <string>

#include "lab/hci/Peripheral.h"

namespace lab {

class Journal : public PeripheralObserver {
 public:
  // Owns the descriptor.
  explicit Journal(int fileDescriptor) : fileDescriptor_(fileDescriptor) {}
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;
  virtual ~Journal();

  void didStart(const std::string& address) override;
  void didFail(const std::string& reason) override;
  void didAdvertise() override;
  void didConnect() override;
  void didDisconnect(std::uint8_t reason) override;
  void didTurnAway() override;
  void didSend(const Uuid& uuid, std::span<const std::uint8_t> value) override;
  void didRead(const Uuid& uuid) override;
  void didWrite(const Uuid& uuid, std::span<const std::uint8_t> value) override;
  void didSubscribe(const Uuid& uuid, bool enabled) override;
  void didRefuse(const std::string& step) override;

 private:
  void write(std::string line);
  void writeValue(const char* event, const Uuid& uuid, std::span<const std::uint8_t> value);

  int fileDescriptor_;
};

}  // namespace lab
