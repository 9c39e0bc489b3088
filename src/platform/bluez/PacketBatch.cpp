#include "platform/bluez/PacketBatch.h"

namespace platform::bluez {

PacketBatch::PacketBatch() {
  for (std::size_t i = 0; i < kSize; ++i) {
    parts_[i] = {bytes_[i].data(), bytes_[i].size()};
    headers_[i].msg_hdr.msg_iov = &parts_[i];
    headers_[i].msg_hdr.msg_iovlen = 1;
  }
}

int PacketBatch::receive(int socket) {
  return recvmmsg(socket, headers_.data(), kSize, MSG_DONTWAIT, nullptr);
}

Value PacketBatch::operator[](int index) const {
  const auto i = static_cast<std::size_t>(index);
  return Value(bytes_[i].data(), headers_[i].msg_len);
}

}  // namespace platform::bluez
