// A controller whose links to devices only use up connection handles there.
//
// btvirt gives each side of a link the lowest handle from 42 that is free on that side, but
// delivers packets under the sender's. With several devices on one central the numbers part, and
// packets go astray. So the second device gets one link from here before the bridge's, the third
// two, and so on: then the bridge's links, made in that order, have the same handle on both sides.
#pragma once

#include <optional>
#include <string>

#include "lab/hci/HciChannel.h"

namespace stack {

class SpareLinks {
 public:
  // Takes the controller hci<index>. Throws std::runtime_error when it cannot be had.
  explicit SpareLinks(int index);

  // Makes one link to a device that advertises: its address as the journal has it. Throws
  // std::runtime_error when it does not come up.
  void linkTo(const std::string& address);

 private:
  void command(std::uint16_t opcode, const lab::Bytes& parameters);
  lab::Bytes waitForEvent(std::uint8_t code, std::uint8_t first);

  std::optional<lab::HciChannel> channel_;
};

}  // namespace stack
