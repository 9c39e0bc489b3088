#include "platform/bluez/PacketBatch.h"

namespace platform::bluez {

PacketBatch::PacketBatch() {
  for (std::size_t i = 0; i < kSize; ++i) {
    parts_[i] = {bytes_[i].data(), bytes_[i].size()};
    headers_[i].msg_hdr.msg_iov = &parts_[i];
    headers_[i].msg_hdr.msg_iovlen = 1;
  }
}

int PacketBatch::receiveOne(int socket) {
  const ssize_t size = recv(socket, bytes_[0].data(), bytes_[0].size(), MSG_DONTWAIT);
  if (size < 0) return -1;
  headers_[0].msg_len = static_cast<unsigned>(size);
  return 1;
}

int PacketBatch::receiveMany(int socket) {
  return recvmmsg(socket, headers_.data(), kSize, MSG_DONTWAIT, nullptr);
}

Value PacketBatch::operator[](int index) const {
  const auto i = static_cast<std::size_t>(index);
  return Value(bytes_[i].data(), headers_[i].msg_len);
}

}  // namespace platform::bluez
