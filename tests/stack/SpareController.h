// A controller that the tests themselves command, over the kernel's HCI user channel.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lab/hci/HciChannel.h"

namespace stack {

// The bytes of an address ("00:AA:01:02:00:02") as HCI carries them: least significant first.
lab::Bytes addressBytes(const std::string& text);

class SpareController {
 public:
  // Opens hci<index> and resets it. Throws std::runtime_error on failure.
  explicit SpareController(int index);

  // opcode and parameters: Bluetooth Core, Vol 4, Part E. Throws std::runtime_error when it is not
  // taken.
  void command(std::uint16_t opcode, const lab::Bytes& parameters);
  // As command(), and waits until it is complete.
  void complete(std::uint16_t opcode, const lab::Bytes& parameters);
  // The next low-energy event of this kind, from its packet type on.
  lab::Bytes waitForLowEnergy(std::uint8_t subevent);

 private:
  lab::Bytes waitForEvent(std::uint8_t code, std::uint8_t first);

  std::optional<lab::HciChannel> channel_;
};

}  // namespace stack
