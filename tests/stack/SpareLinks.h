// A controller whose links to devices only use up connection handles there.
//
// btvirt gives each side of a link the lowest free handle from 42 on, but delivers packets under
// the sender's handle. When a central has several devices, the handles of the two sides differ, and
// packets go to the wrong link. So the second device gets one link from here before the bridge's,
// the third two, and so on: the bridge's links, made in that order, then have the same handle on
// both sides.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include "SpareController.h"

namespace stack {

class SpareLinks {
 public:
  // Opens the controller hci<index>. Throws std::runtime_error on failure.
  explicit SpareLinks(int index) : controller_(index) {}

  // Makes one link to an advertising device. address: as in the device's journal. Throws
  // std::runtime_error when the link does not come up.
  void linkTo(const std::string& address);

  // Whether each link has a handle of its own.
  bool areLinksApart() const { return handles_.size() == links_; }

 private:
  SpareController controller_;
  std::size_t links_ = 0;
  std::set<std::pair<std::uint8_t, std::uint8_t>> handles_;  // low byte, high byte
};

}  // namespace stack
