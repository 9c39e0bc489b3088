// Receives waiting packets from a socket, one or many with one system call. Main thread only.
#pragma once

#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/bluez/Objects.h"

namespace platform::bluez {

class PacketBatch {
 public:
  static constexpr int kSize = 16;  // packets at most

  PacketBatch();
  PacketBatch(const PacketBatch&) = delete;
  PacketBatch& operator=(const PacketBatch&) = delete;

  // Without waiting: receives one packet, or as many as fit. Returns how many; -1 and errno when
  // there was none. For a single packet receiveOne is cheaper.
  int receiveOne(int socket);
  int receiveMany(int socket);

  // One of the received packets. One that is too long for a value is cut, but still too long.
  Value operator[](int index) const;

 private:
  static constexpr std::size_t kPacketSize = kLargestValue + 1;

  std::array<std::array<std::uint8_t, kPacketSize>, kSize> bytes_;
  std::array<iovec, kSize> parts_{};
  std::array<mmsghdr, kSize> headers_{};
};

}  // namespace platform::bluez
