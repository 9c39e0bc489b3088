#include "SpareController.h"

#include <poll.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "Program.h"

namespace stack {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint8_t commandPacket = 0x01;
constexpr std::uint8_t eventPacket = 0x04;
constexpr std::uint8_t commandComplete = 0x0E;
constexpr std::uint8_t lowEnergy = 0x3E;
constexpr std::uint8_t oneCommand = 0x01;  // a completion's first byte: one command may follow

}  // namespace

lab::Bytes addressBytes(const std::string& text) {
  lab::Bytes bytes;
  for (std::size_t at = text.size() + 1; at >= 3; at -= 3) {
    std::uint8_t byte = 0;
    std::from_chars(&text[at - 3], &text[at - 3] + 2, byte, 16);
    bytes.push_back(byte);
  }
  return bytes;
}

SpareController::SpareController(int index) {
  // A controller is busy for a while after it was plugged in, and no event tells when that is over.
  int error = 0;
  for (const auto end = Clock::now() + patience; !channel_ && Clock::now() < end;) {
    if (auto channel = lab::HciChannel::openUserChannel(index, error)) {
      channel_.emplace(std::move(*channel));
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
  if (!channel_) throw std::runtime_error(std::string("no spare controller: ") + strerror(error));
  complete(0x0C03, {});                                                // Reset
  complete(0x0C01, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x1F, 0x00, 0x20});  // Set Event Mask
  complete(0x2001, {0x1F, 0, 0, 0, 0, 0, 0, 0});                       // LE Set Event Mask
}

void SpareController::command(std::uint16_t opcode, const lab::Bytes& parameters) {
  lab::Bytes packet{commandPacket, static_cast<std::uint8_t>(opcode),
                    static_cast<std::uint8_t>(opcode >> 8U),
                    static_cast<std::uint8_t>(parameters.size())};
  packet.insert(packet.end(), parameters.begin(), parameters.end());
  if (!channel_->send(packet)) throw std::runtime_error("the spare controller takes no command");
}

void SpareController::complete(std::uint16_t opcode, const lab::Bytes& parameters) {
  command(opcode, parameters);
  waitForEvent(commandComplete, oneCommand);
}

lab::Bytes SpareController::waitForLowEnergy(std::uint8_t subevent) {
  return waitForEvent(lowEnergy, subevent);
}

lab::Bytes SpareController::waitForEvent(std::uint8_t code, std::uint8_t first) {
  for (const auto end = Clock::now() + patience; Clock::now() < end;) {
    const auto packet = channel_->receive();
    if (!packet) {
      pollfd input{channel_->fileDescriptor(), POLLIN, 0};
      ::poll(&input, 1, 1000);
    } else if (packet->size() > 4 && (*packet)[0] == eventPacket && (*packet)[1] == code &&
               (*packet)[3] == first) {
      return *packet;
    }
  }
  throw std::runtime_error("the spare controller does not answer");
}

}  // namespace stack
