// The device's side of the Attribute Protocol on one link: requests in, responses out. It knows
// neither sockets nor time; its owner carries the PDUs.
//
// One thread. PDUs are whole ATT packets, opcode first, numbers little-endian.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/att/AttDatabase.h"

namespace lab {

// What centrals do with the model's characteristics, for journals. A refused request is reported by
// didRefuse alone.
class AttObserver {
 public:
  virtual void didRead(const Uuid& uuid) = 0;
  virtual void didWrite(const Uuid& uuid, std::span<const std::uint8_t> value) = 0;
  virtual void didSubscribe(const Uuid& uuid, bool enabled) = 0;
  virtual void didRefuse(const std::string& step) = 0;

 protected:
  ~AttObserver() = default;
};

class AttServer {
 public:
  // Serves one link, with the model's tree as it is now. largestMtu: 23 to 517 bytes.
  AttServer(DeviceModel& model, AttObserver& observer, std::size_t largestMtu);

  // Handles one PDU from the central and returns the PDU that answers it; an empty one when it was
  // not a request (a command, a confirmation).
  Bytes receive(std::span<const std::uint8_t> pdu);

  // What a PDU asks for: "mtu", "services", "characteristics", "descriptors", "read:UUID",
  // "write:UUID", "subscribe:UUID", "unsubscribe:UUID" (UUID as Uuid::text gives it), and "other".
  std::string step(std::span<const std::uint8_t> pdu) const;

  // The PDU that carries a value to the central; the value is cut to what fits into one PDU.
  // Nothing when the central is not subscribed.
  std::optional<Bytes> valuePdu(CharacteristicIndex characteristic,
                                std::span<const std::uint8_t> value);

  // Removes a service and all subscriptions in it; see Link::withdraw.
  std::optional<Bytes> withdraw(const Uuid& service);

  // True from an indication until the central has confirmed it; another one has to wait.
  bool isAwaitingConfirmation() const { return awaitingConfirmation_; }
  bool indicates(CharacteristicIndex characteristic) const;

  std::size_t mtu() const { return mtu_; }
  const Uuid& uuid(CharacteristicIndex characteristic) const;

 private:
  using Pdu = std::span<const std::uint8_t>;
  struct PreparedPart {
    std::uint16_t handle;
    std::uint16_t offset;
    Bytes value;
  };

  Bytes answerRequest(Pdu pdu);
  Bytes exchangeMtu(Pdu pdu);
  Bytes findInformation(Pdu pdu) const;
  Bytes findByTypeValue(Pdu pdu) const;
  Bytes readByType(Pdu pdu);
  Bytes readByGroupType(Pdu pdu) const;
  Bytes readWhole(Pdu pdu);
  Bytes readBlob(Pdu pdu);
  Bytes write(Pdu pdu);
  Bytes prepareWrite(Pdu pdu);
  Bytes executeWrite(Pdu pdu);

  ReadResult valueOf(const Attribute& attribute);
  ReadResult readFromModel(const Attribute& attribute);
  AttError writeAttribute(const Attribute& attribute, std::span<const std::uint8_t> value);
  AttError writeValue(const Attribute& attribute, std::span<const std::uint8_t> value);
  AttError configure(const Attribute& attribute, std::span<const std::uint8_t> value);

  DeviceModel& model_;
  AttObserver& observer_;
  AttDatabase database_;
  std::size_t largestMtu_;
  std::size_t mtu_;
  std::vector<std::uint16_t> configurations_;  // by characteristic: bit 0 notify, bit 1 indicate
  bool awaitingConfirmation_ = false;
  std::vector<PreparedPart> prepared_;
  // The value that is being read in parts (Read Blob). The model is asked only for the first part,
  // so that all parts come from one value.
  std::uint16_t lastReadHandle_ = 0;
  Bytes lastRead_;
};

}  // namespace lab
