// The contents of each value of the benchmarks: its number and its time of sending, in the 18 bytes
// of a motion value. Numbers count from 1 in every run; 0 is the value that a new subscriber gets.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

namespace bench {

// CLOCK_MONOTONIC, the same for all processes of a machine.
using Clock = std::chrono::steady_clock;

struct Stamp {
  static constexpr std::size_t kSize = 18;
  using Bytes = std::array<std::uint8_t, kSize>;

  std::uint32_t number = 0;
  Clock::time_point sent;

  static Stamp now(std::uint32_t number) { return {number, Clock::now()}; }

  // The last bytes are a mark, which shows that the value is not damaged.
  Bytes bytes() const {
    const std::int64_t time = sent.time_since_epoch().count();
    Bytes bytes;
    std::memcpy(bytes.data(), &number, sizeof number);
    std::memcpy(bytes.data() + sizeof number, &time, sizeof time);
    std::memcpy(bytes.data() + sizeof number + sizeof time, kMark.data(), kMark.size());
    return bytes;
  }

  static std::optional<Stamp> of(std::span<const std::uint8_t> bytes) {
    Stamp stamp;
    std::int64_t time = 0;
    if (bytes.size() != kSize ||
        std::memcmp(bytes.data() + kSize - kMark.size(), kMark.data(), kMark.size()) != 0) {
      return std::nullopt;
    }
    std::memcpy(&stamp.number, bytes.data(), sizeof stamp.number);
    std::memcpy(&time, bytes.data() + sizeof stamp.number, sizeof time);
    stamp.sent = Clock::time_point(Clock::duration(time));
    return stamp;
  }

 private:
  static constexpr std::array<std::uint8_t, 6> kMark{0x18, 0xFC, 0x2E, 0x16, 0xC7, 0xCF};
};

}  // namespace bench
