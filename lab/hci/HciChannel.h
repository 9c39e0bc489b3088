// Whole HCI packets to and from a controller, over a descriptor that keeps packets apart: the
// kernel's user channel, or a socket pair in tests.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "lab/DeviceModel.h"

namespace lab {

class HciChannel {
 public:
  // Takes hci<index> for this process alone: whatever else uses the adapter loses it, as the
  // adapter is taken down first. Needs CAP_NET_ADMIN. Nothing on failure, with errno's value.
  static std::optional<HciChannel> openUserChannel(int index, int& error);

  // As openUserChannel, but waits up to 20 seconds for a controller that is not there yet or in
  // use.
  static std::optional<HciChannel> openWhenFree(int index, int& error);

  // Owns the descriptor, which is made non-blocking.
  explicit HciChannel(int fileDescriptor);
  HciChannel(HciChannel&& other) noexcept;
  HciChannel& operator=(HciChannel&&) = delete;
  ~HciChannel();

  int fileDescriptor() const { return fileDescriptor_; }

  // A packet begins with its type. False when the kernel takes none now, or when the channel is
  // gone.
  bool send(std::span<const std::uint8_t> packet);

  // The next packet; nothing when there is none now.
  std::optional<Bytes> receive();

  // The controller was removed, or the channel was closed under us.
  bool isGone() const { return isGone_; }

 private:
  int fileDescriptor_;
  bool isGone_ = false;
};

}  // namespace lab
