#include "lab/hci/HciChannel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace lab {
namespace {

// From the kernel's net/bluetooth/hci_sock.h, which the exported headers leave out.
constexpr int kProtocolHci = 1;
constexpr std::uint16_t kUserChannel = 1;
constexpr unsigned long kDeviceDown = _IOW('H', 202, int);

struct HciAddress {
  sa_family_t family;
  std::uint16_t device;
  std::uint16_t channel;
};

// Room for a thousand small events, so that a short stall of this process loses none.
constexpr int kReceiveBuffer = 1 << 20;

constexpr std::size_t kLargestPacket = 4096;

bool isTransient(int error) {
  return error == EAGAIN || error == EINTR || error == ENOBUFS;
}

}  // namespace

std::optional<HciChannel> HciChannel::openUserChannel(int index, int& error) {
  const int socket = ::socket(AF_BLUETOOTH, SOCK_RAW | SOCK_CLOEXEC, kProtocolHci);
  if (socket < 0) {
    error = errno;
    return std::nullopt;
  }
  HciChannel channel(socket);
  const HciAddress address{AF_BLUETOOTH, static_cast<std::uint16_t>(index), kUserChannel};
  if (::ioctl(socket, kDeviceDown, index) < 0 ||
      ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
    error = errno;
    return std::nullopt;
  }
  ::setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer);
  return channel;
}

// For some seconds after it was plugged in, a controller is busy with its own set-up, or with being
// powered up by bluetoothd. No event tells an ordinary program when that is over, so this polls.
std::optional<HciChannel> HciChannel::openWhenFree(int index, int& error) {
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + std::chrono::seconds(20);
  while (true) {
    auto channel = openUserChannel(index, error);
    const bool maySucceed = error == EBUSY || error == ENODEV;
    if (channel || !maySucceed || steady_clock::now() > end) return channel;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

HciChannel::HciChannel(int fileDescriptor) : fileDescriptor_(fileDescriptor) {
  ::fcntl(fileDescriptor, F_SETFL, ::fcntl(fileDescriptor, F_GETFL) | O_NONBLOCK);
}

HciChannel::HciChannel(HciChannel&& other) noexcept
    : fileDescriptor_(std::exchange(other.fileDescriptor_, -1)), isGone_(other.isGone_) {}

HciChannel::~HciChannel() {
  if (fileDescriptor_ >= 0) ::close(fileDescriptor_);
}

bool HciChannel::send(std::span<const std::uint8_t> packet) {
  if (isGone_) return false;
  if (::send(fileDescriptor_, packet.data(), packet.size(), MSG_NOSIGNAL) >= 0) return true;
  if (!isTransient(errno)) isGone_ = true;
  return false;
}

std::optional<Bytes> HciChannel::receive() {
  if (isGone_) return std::nullopt;
  std::array<std::uint8_t, kLargestPacket> buffer;
  const ssize_t size = ::recv(fileDescriptor_, buffer.data(), buffer.size(), 0);
  if (size > 0) return Bytes(buffer.begin(), buffer.begin() + size);
  // For a removed controller the kernel reports an error or end of file, depending on the moment.
  if (size == 0 || !isTransient(errno)) isGone_ = true;
  return std::nullopt;
}

}  // namespace lab
