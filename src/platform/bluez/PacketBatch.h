// Receives all the packets that wait in a socket with one system call: most often one, many when
// this process had to wait for the processor. Main thread only.
#pragma once

#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/bluez/Objects.h"

namespace platform::bluez {

class PacketBatch {
 public:
  PacketBatch();
  PacketBatch(const PacketBatch&) = delete;
  PacketBatch& operator=(const PacketBatch&) = delete;

  // Receives up to kSize packets, without waiting. Returns how many; -1 and errno when none came.
  int receive(int socket);

  // One of those received. A packet that is too long to be a value is cut, and is still too long.
  Value operator[](int index) const;

 private:
  static constexpr std::size_t kSize = 16;
  static constexpr std::size_t kPacketSize = kLargestValue + 1;

  std::array<std::array<std::uint8_t, kPacketSize>, kSize> bytes_;
  std::array<iovec, kSize> parts_{};
  std::array<mmsghdr, kSize> headers_{};
};

}  // namespace platform::bluez
