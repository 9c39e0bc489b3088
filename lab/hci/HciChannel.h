// Whole HCI packets to and from a controller, over a descriptor that preserves packet boundaries:
// the kernel's HCI user channel, or a socket pair in tests.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "lab/DeviceModel.h"

namespace lab {

class HciChannel {
 public:
  // Opens hci<index> for this process alone. The adapter is taken down first, so every other
  // program loses it. Needs CAP_NET_ADMIN. On failure nothing, and error is the errno value.
  static std::optional<HciChannel> openUserChannel(int index, int& error);

  // As openUserChannel, but retries for up to 20 seconds while the controller is absent or in use.
  static std::optional<HciChannel> openWhenFree(int index, int& error);

  // Takes ownership of the descriptor and makes it non-blocking.
  explicit HciChannel(int fileDescriptor);
  HciChannel(HciChannel&& other) noexcept;
  HciChannel& operator=(HciChannel&&) = delete;
  ~HciChannel();

  int fileDescriptor() const { return fileDescriptor_; }

  // packet: begins with the packet type. False when the kernel accepts none now, or when the
  // channel is gone.
  bool send(std::span<const std::uint8_t> packet);

  // The next packet; nothing when there is none now.
  std::optional<Bytes> receive();

  // The controller was removed, or its end of the channel was closed.
  bool isGone() const { return isGone_; }

 private:
  int fileDescriptor_;
  bool isGone_ = false;
};

}  // namespace lab
