#include "SpareLinks.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "Program.h"

namespace stack {

namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

void SpareLinks::linkTo(const std::string& address) {
  // Scan interval and window, no filter list, public address; then its own address, the link's
  // interval, latency, supervision time-out and event length.
  lab::Bytes parameters{0x60, 0x00, 0x30, 0x00, 0x00, 0x00};
  const lab::Bytes peer = addressBytes(address);
  parameters.insert(parameters.end(), peer.begin(), peer.end());
  for (const int byte : {0x00, 0x18, 0x00, 0x28, 0x00, 0x00, 0x00, 0x2A, 0x00, 0, 0, 0, 0}) {
    parameters.push_back(static_cast<std::uint8_t>(byte));
  }
  // The attempt fails when the device does not advertise at that very moment.
  constexpr std::uint8_t linkComplete = 0x01;
  constexpr std::uint8_t success = 0;
  for (const auto end = Clock::now() + patience; Clock::now() < end;) {
    controller_.command(0x200D, parameters);  // LE Create Connection
    const lab::Bytes event = controller_.waitForLowEnergy(linkComplete);
    if (event.at(4) == success) {
      ++links_;
      handles_.emplace(event.at(5), event.at(6));
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  throw std::runtime_error("no link to " + address);
}

}  // namespace stack
