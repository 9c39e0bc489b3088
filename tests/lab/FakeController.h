// A controller at the other end of a socket pair: it obeys commands, has room for one data packet
// at a time, and plays the central as the test prescribes.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "lab/hci/HciChannel.h"

namespace lab {

class FakeController {
 public:
  FakeController();

  // The descriptor for the host, who then owns it; to be used once.
  int hostEnd() const { return hostEnd_; }

  // Reads what the host has sent: answers commands, collects data.
  void serve();

  void linkUp();
  void linkDown(std::uint8_t reason);
  // One L2CAP packet from the central, cut into data packets of at most 27 bytes.
  void fromCentral(std::uint16_t channel, std::string_view hex);
  void completePackets();
  // The adapter is unplugged.
  void remove() { host_.reset(); }

  bool hasSeen(std::uint16_t opcode) const;
  // The complete L2CAP packets since the last call, as "CHANNEL:HEX" of the payload.
  std::vector<std::string> toCentral();

  bool answers_ = true;           // whether commands are answered at all
  bool completesPackets_ = true;  // whether data packets are reported as completed at once
  std::vector<Bytes> commands_;   // opcode and parameters, as received
  std::size_t dataPackets_ = 0;
  std::size_t longestDataPacket_ = 0;

 private:
  void handleCommand(const Bytes& packet);
  void handleData(const Bytes& packet);
  void complete(std::uint16_t opcode, const Bytes& result);

  int hostEnd_ = -1;
  std::optional<HciChannel> host_;
  Bytes incoming_;
  std::vector<std::string> received_;
};

}  // namespace lab
