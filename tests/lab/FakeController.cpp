#include "FakeController.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>

#include "lab/Text.h"

namespace lab {
namespace {

constexpr std::uint16_t kHandle = 0x0040;
constexpr std::size_t kBufferLength = 27;

std::uint16_t u16At(const Bytes& bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

void append16(Bytes& bytes, std::size_t number) {
  bytes.push_back(static_cast<std::uint8_t>(number));
  bytes.push_back(static_cast<std::uint8_t>(number >> 8));
}

}  // namespace

FakeController::FakeController() {
  std::array<int, 2> ends{};
  ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data());
  hostEnd_ = ends[0];
  host_.emplace(ends[1]);
}

void FakeController::serve() {
  while (host_) {
    const std::optional<Bytes> packet = host_->receive();
    if (!packet) return;
    if (packet->front() == 0x01) handleCommand(*packet);
    if (packet->front() == 0x02) handleData(*packet);
  }
}

void FakeController::linkUp() {
  Bytes event{0x04, 0x3E, 19, 0x01, 0x00};
  append16(event, kHandle);
  event.push_back(0x01);  // the role: peripheral
  event.resize(3 + 19);
  host_->send(event);
}

void FakeController::linkDown(std::uint8_t reason) {
  Bytes event{0x04, 0x05, 4, 0x00};
  append16(event, kHandle);
  event.push_back(reason);
  host_->send(event);
}

void FakeController::fromCentral(std::uint16_t channel, std::string_view hex) {
  const Bytes payload = *fromHex(hex);
  Bytes whole;
  append16(whole, payload.size());
  append16(whole, channel);
  whole.insert(whole.end(), payload.begin(), payload.end());
  for (std::size_t at = 0; at < whole.size(); at += kBufferLength) {
    const std::size_t size = std::min(kBufferLength, whole.size() - at);
    Bytes packet{0x02};
    append16(packet, kHandle | (at == 0 ? 0x2000 : 0x1000));
    append16(packet, size);
    const auto first = whole.begin() + static_cast<std::ptrdiff_t>(at);
    packet.insert(packet.end(), first, first + static_cast<std::ptrdiff_t>(size));
    host_->send(packet);
  }
}

void FakeController::completePackets() {
  Bytes event{0x04, 0x13, 5, 1};
  append16(event, kHandle);
  append16(event, 1);
  host_->send(event);
}

bool FakeController::hasSeen(std::uint16_t opcode) const {
  return std::ranges::any_of(commands_,
                             [&](const Bytes& each) { return u16At(each, 0) == opcode; });
}

std::vector<std::string> FakeController::toCentral() {
  return std::exchange(received_, {});
}

void FakeController::handleCommand(const Bytes& packet) {
  const std::uint16_t opcode = u16At(packet, 1);
  Bytes command(packet.begin() + 1, packet.begin() + 3);
  command.insert(command.end(), packet.begin() + 4, packet.end());
  commands_.push_back(command);
  if (!answers_) return;
  if (opcode == 0x0406) {
    host_->send(Bytes{0x04, 0x0F, 4, 0x00, 1, 0x06, 0x04});
    return linkDown(0x16);
  }
  if (opcode == 0x1005) return complete(opcode, {0x00, 0xFD, 0x03, 0, 8, 0, 0, 0});
  if (opcode == 0x2002) return complete(opcode, {0x00, kBufferLength, 0, 1});
  if (opcode == 0x1009) return complete(opcode, {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0xC6});
  complete(opcode, {0x00});
}

void FakeController::handleData(const Bytes& packet) {
  ++dataPackets_;
  longestDataPacket_ = std::max(longestDataPacket_, packet.size() - 5);
  if ((u16At(packet, 1) & 0x1000) == 0) incoming_.clear();
  incoming_.insert(incoming_.end(), packet.begin() + 5, packet.end());
  if (incoming_.size() == 4U + u16At(incoming_, 0)) {
    received_.push_back(std::to_string(u16At(incoming_, 2)) + ":" +
                        toHex(std::span(incoming_).subspan(4)));
  }
  if (completesPackets_) completePackets();
}

void FakeController::complete(std::uint16_t opcode, const Bytes& result) {
  Bytes event{0x04, 0x0E, static_cast<std::uint8_t>(3 + result.size()), 1};
  append16(event, opcode);
  event.insert(event.end(), result.begin(), result.end());
  host_->send(event);
}

}  // namespace lab
