#include "lab/hci/Controller.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace lab {
namespace {

enum PacketType : std::uint8_t { kCommandPacket = 0x01, kDataPacket = 0x02, kEventPacket = 0x04 };

enum Event : std::uint8_t {
  kDisconnectionComplete = 0x05,
  kCommandComplete = 0x0E,
  kCommandStatus = 0x0F,
  kHardwareError = 0x10,
  kNumberOfCompletedPackets = 0x13,
  kLeMeta = 0x3E,
};

enum LeEvent : std::uint8_t { kConnectionComplete = 0x01, kLongTermKeyRequest = 0x05 };

enum Command : std::uint16_t {
  kDisconnect = 0x0406,
  kSetEventMask = 0x0C01,
  kReset = 0x0C03,
  kWriteLeHostSupport = 0x0C6D,
  kReadBufferSize = 0x1005,
  kReadAddress = 0x1009,
  kLeSetEventMask = 0x2001,
  kLeReadBufferSize = 0x2002,
  kLeSetAdvertisingParameters = 0x2006,
  kLeSetAdvertisingData = 0x2008,
  kLeSetScanResponse = 0x2009,
  kLeSetAdvertisingEnable = 0x200A,
  kLeLongTermKeyNegativeReply = 0x201B,
};

constexpr std::uint8_t kRemoteUserEnded = 0x13;
constexpr std::uint8_t kLocalHostEnded = 0x16;
constexpr std::uint8_t kPeripheralRole = 0x01;
constexpr std::uint16_t kHandleMask = 0x0FFF;
constexpr std::uint16_t kContinuing = 0x1000;

std::uint16_t u16At(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

void append16(Bytes& bytes, std::size_t number) {
  bytes.push_back(static_cast<std::uint8_t>(number));
  bytes.push_back(static_cast<std::uint8_t>(number >> 8));
}

std::string printed(std::span<const std::uint8_t> address) {
  char text[18];
  std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", address[5], address[4],
                address[3], address[2], address[1], address[0]);
  return text;
}

// One length byte, then 31 bytes: the data, filled up with zeros.
Bytes padded(const Bytes& data) {
  Bytes parameters(32);
  parameters[0] = static_cast<std::uint8_t>(data.size());
  std::ranges::copy(data, parameters.begin() + 1);
  return parameters;
}

}  // namespace

Controller::Controller(HciChannel channel, ControllerListener& listener)
    : channel_(std::move(channel)), listener_(listener) {}

void Controller::start() {
  // The default events and the LE meta event; of the LE events, connection complete and long term
  // key request.
  const std::uint8_t mask[]{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x1F, 0x00, 0x20};
  const std::uint8_t leMask[]{0x11, 0, 0, 0, 0, 0, 0, 0};
  const std::uint8_t leHost[]{0x01, 0x00};
  command(kReset, {});
  command(kSetEventMask, mask);
  command(kWriteLeHostSupport, leHost);
  command(kLeSetEventMask, leMask);
  command(kReadBufferSize, {});
  command(kLeReadBufferSize, {});
  command(kReadAddress, {});
}

void Controller::process() {
  isChannelFull_ = false;
  pump();
  while (const std::optional<Bytes> packet = channel_.receive()) {
    const auto body = Packet(*packet).subspan(1);
    if ((*packet)[0] == kEventPacket && body.size() >= 2) handleEvent(body);
    if ((*packet)[0] == kDataPacket && body.size() >= 4) handleData(body);
    pump();
  }
  if (channel_.isGone()) fail("the controller is gone");
}

void Controller::advertise(const Advertisement& advertisement) {
  const std::uint8_t off[]{0x00};
  const std::uint8_t on[]{0x01};
  command(kLeSetAdvertisingEnable, off);
  if (onAir_ != advertisement) {
    // 30 to 50 ms between advertisements, own public address, all three channels.
    const auto type = static_cast<std::uint8_t>(advertisement.isConnectable ? 0x00 : 0x02);
    const std::uint8_t parameters[]{0x30, 0, 0x50, 0, type, 0, 0, 0, 0, 0, 0, 0, 0, 0x07, 0};
    command(kLeSetAdvertisingParameters, parameters);
    command(kLeSetAdvertisingData, padded(advertisement.data));
    command(kLeSetScanResponse, padded(advertisement.scanResponse));
    onAir_ = advertisement;
  }
  command(kLeSetAdvertisingEnable, on);
}

void Controller::stopAdvertising() {
  const std::uint8_t off[]{0x00};
  command(kLeSetAdvertisingEnable, off);
}

void Controller::send(std::uint16_t channel, std::span<const std::uint8_t> payload, Handed handed) {
  if (!link_) return;
  Bytes whole;
  append16(whole, payload.size());
  append16(whole, channel);
  whole.insert(whole.end(), payload.begin(), payload.end());
  for (std::size_t at = 0; at < whole.size(); at += bufferLength_) {
    const auto part = Packet(whole).subspan(at, std::min(bufferLength_, whole.size() - at));
    Bytes packet{kDataPacket};
    append16(packet, at == 0 ? *link_ : *link_ | kContinuing);
    append16(packet, part.size());
    packet.insert(packet.end(), part.begin(), part.end());
    fragments_.push_back({std::move(packet), false, {}});
  }
  fragments_.back().isLast = true;
  fragments_.back().handed = std::move(handed);
  ++backlog_;
  pump();
}

void Controller::disconnect(std::uint8_t reason) {
  if (link_) disconnectHandle(*link_, reason);
}

void Controller::command(std::uint16_t opcode, std::span<const std::uint8_t> parameters) {
  Bytes packet{kCommandPacket};
  append16(packet, opcode);
  packet.push_back(static_cast<std::uint8_t>(parameters.size()));
  packet.insert(packet.end(), parameters.begin(), parameters.end());
  commands_.push_back(std::move(packet));
  pump();
}

void Controller::pump() {
  if (!isCommandPending_ && !commands_.empty() && sendNow(commands_.front())) {
    commands_.pop_front();
    isCommandPending_ = true;
  }
  while (freeBuffers_ > 0 && !fragments_.empty() && sendNow(fragments_.front().packet)) {
    const Fragment sent = std::move(fragments_.front());
    fragments_.pop_front();
    --freeBuffers_;
    if (!sent.isLast) continue;
    --backlog_;
    if (sent.handed) sent.handed();
  }
}

bool Controller::sendNow(const Bytes& packet) {
  if (isChannelFull_ || isFailed_) return false;
  const bool isSent = channel_.send(packet);
  isChannelFull_ = !isSent && !channel_.isGone();
  return isSent;
}

void Controller::handleEvent(Packet event) {
  const Packet parameters = event.subspan(2);
  const std::size_t size = parameters.size();
  if (event[0] == kCommandComplete && size >= 3) {
    if (u16At(parameters, 1) != 0)
      isCommandPending_ = false;  // 0 belongs to no command: it only reports free command slots
    handleCommandComplete(u16At(parameters, 1), parameters.subspan(3));
  } else if (event[0] == kCommandStatus && size >= 4) {
    if (u16At(parameters, 2) != 0) isCommandPending_ = false;
  } else if (event[0] == kNumberOfCompletedPackets && size >= 1) {
    handleCompletedPackets(parameters);
  } else if (event[0] == kDisconnectionComplete && size >= 4 && parameters[0] == 0) {
    handleLinkEnd(u16At(parameters, 1), parameters[3]);
  } else if (event[0] == kLeMeta && size >= 19 && parameters[0] == kConnectionComplete) {
    handleLinkComplete(parameters);
  } else if (event[0] == kLeMeta && size >= 3 && parameters[0] == kLongTermKeyRequest) {
    command(kLeLongTermKeyNegativeReply, parameters.subspan(1, 2));
  } else if (event[0] == kHardwareError) {
    fail("the controller reports a hardware error");
  }
}

void Controller::handleCommandComplete(std::uint16_t opcode, Packet result) {
  const bool isDone = !result.empty() && result[0] == 0;
  if (opcode == kReset && !isDone) fail("the controller refuses to be reset");
  if (opcode == kLeReadBufferSize) {
    if (!isDone) return fail("the controller has no low energy");
    if (result.size() >= 4) takeBufferSize(u16At(result, 1), result[3]);
  }
  if (opcode == kReadBufferSize && isDone && result.size() >= 8) {
    takeBufferSize(u16At(result, 1), u16At(result, 4));
  }
  if (opcode == kReadAddress && result.size() >= 7) {
    listener_.controllerReady(printed(result.subspan(1, 6)));
  }
}

void Controller::handleLinkComplete(Packet parameters) {
  const std::uint8_t status = parameters[1];
  const std::uint16_t handle = u16At(parameters, 2) & kHandleMask;
  if (status != 0) return;
  if (linksToLeave_ > 0) {
    --linksToLeave_;
    onAir_.reset();
    return;
  }
  if (link_ || parameters[4] != kPeripheralRole) return disconnectHandle(handle, kRemoteUserEnded);
  commands_.clear();  // without a link, only advertising commands can be waiting
  link_ = handle;
  freeBuffers_ = bufferCount_;
  incoming_.clear();
  listener_.linkUp();
}

void Controller::handleLinkEnd(std::uint16_t handle, std::uint8_t reason) {
  if ((handle & kHandleMask) == link_) dropLink(reason);
}

void Controller::handleCompletedPackets(Packet parameters) {
  for (std::size_t at = 1; at + 4 <= parameters.size(); at += 4) {
    if ((u16At(parameters, at) & kHandleMask) != link_) continue;
    freeBuffers_ = std::min(bufferCount_, freeBuffers_ + u16At(parameters, at + 2));
  }
}

void Controller::handleData(Packet data) {
  const std::uint16_t header = u16At(data, 0);
  if ((header & kHandleMask) != link_) return;
  if ((header & kContinuing) == 0) incoming_.clear();
  incoming_.insert(incoming_.end(), data.begin() + 4, data.end());
  if (incoming_.size() < 4) return;
  const std::size_t length = u16At(incoming_, 0);
  if (incoming_.size() < 4 + length) return;
  const Bytes packet = std::exchange(incoming_, {});
  listener_.received(u16At(packet, 2), Packet(packet).subspan(4, length));
}

// A controller has buffers for LE alone, or reports 0 for these and shares those of BR/EDR.
void Controller::takeBufferSize(std::size_t length, std::size_t count) {
  if (length == 0 || count == 0) return;
  bufferLength_ = length;
  bufferCount_ = count;
  freeBuffers_ = count;
}

void Controller::disconnectHandle(std::uint16_t handle, std::uint8_t reason) {
  Bytes parameters;
  append16(parameters, handle);
  parameters.push_back(reason);
  command(kDisconnect, parameters);
}

void Controller::dropLink(std::uint8_t reason) {
  if (!link_) return;
  link_.reset();
  fragments_.clear();
  backlog_ = 0;
  listener_.linkDown(reason);
}

void Controller::fail(const std::string& reason) {
  if (std::exchange(isFailed_, true)) return;
  dropLink(kLocalHostEnded);
  listener_.controllerFailed(reason);
}

}  // namespace lab
