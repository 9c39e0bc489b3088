#include "Devices.h"

#include <chrono>
#include <optional>
#include <set>

#include "lab/models/Wire.h"
#include "vornix_host.h"

namespace bench {
namespace {

using lab::wire::appendBig;
using lab::wire::appendLittle;

constexpr std::size_t kTimeSize = 4;

// Wraps around after more than an hour; the difference of two such times is right all the same.
std::uint32_t microsecondsAt(Clock::time_point time) {
  using std::chrono::microseconds;
  return static_cast<std::uint32_t>(
      std::chrono::duration_cast<microseconds>(time.time_since_epoch()).count());
}

lab::Bytes valueOf(std::uint32_t time, std::size_t size) {
  lab::Bytes value;
  appendLittle(value, time, kTimeSize);
  for (std::size_t i = kTimeSize; i < size; ++i) value.push_back(static_cast<std::uint8_t>(~i));
  return value;
}

std::optional<std::uint32_t> timeIn(const lab::Bytes& value, std::size_t size) {
  if (value.size() != size) return std::nullopt;
  std::uint32_t time = 0;
  for (std::size_t i = 0; i < kTimeSize; ++i) time |= std::uint32_t{value[i]} << 8 * i;
  if (value != valueOf(time, size)) return std::nullopt;
  return time;
}

struct DeviceValue {
  Device device;
  lab::Bytes bytes;  // the bytes that the device sent
};

struct ReadValue {
  std::optional<DeviceValue> operator()(const vornix_host::TramselMotion& motion) const {
    DeviceValue value{kTramsel, {}};
    for (const std::int16_t word : motion.values) {
      appendLittle(value.bytes, static_cast<std::uint16_t>(word), 2);
    }
    return value;
  }
  std::optional<DeviceValue> operator()(const vornix_host::FenwixRaw& raw) const {
    return DeviceValue{kFenwix, raw.bytes};
  }
  std::optional<DeviceValue> operator()(const vornix_host::CorveltaContraction& record) const {
    DeviceValue value{kCorvelta, {}};
    appendLittle(value.bytes, record.third, 3);
    appendLittle(value.bytes, record.first, 2);
    appendLittle(value.bytes, record.second, 1);
    return value;
  }
  std::optional<DeviceValue> operator()(const vornix_host::ProbeMeasurement& measurement) const {
    DeviceValue value{kProbe, {}};
    appendBig(value.bytes, measurement.first, 2);
    appendBig(value.bytes, measurement.second, 2);
    return value;
  }
  template <typename Other>
  std::optional<DeviceValue> operator()(const Other&) const {
    return std::nullopt;
  }
};

std::optional<DeviceValue> valueIn(std::string_view text) {
  vornix_host::LineReader reader;
  reader.feed(std::string(text) + "\n");
  const auto line = reader.next();
  return line ? std::visit(ReadValue(), vornix_host::decode(*line)) : std::nullopt;
}

}  // namespace

lab::Bytes valueSentAt(Clock::time_point time, std::size_t size) {
  return valueOf(microsecondsAt(time), size);
}

std::array<Reception, kDevices.size()> receptionsOf(const std::vector<Output::Line>& lines,
                                                    Clock::time_point begin) {
  std::array<Reception, kDevices.size()> receptions;
  std::array<std::set<std::uint32_t>, kDevices.size()> seen;
  for (const Output::Line& line : lines) {
    const auto value = valueIn(line.text);
    if (!value) continue;
    const auto sent = timeIn(value->bytes, kDevices[value->device].valueSize);
    if (!sent) continue;
    const std::uint32_t arrived = microsecondsAt(line.arrived);
    const std::uint32_t latency = arrived - *sent;
    if (latency > arrived - microsecondsAt(begin)) continue;
    Reception& reception = receptions[value->device];
    if (seen[value->device].insert(*sent).second) {
      ++reception.received;
      reception.latencies.push_back(latency / 1000.0);
    } else {
      ++reception.doubled;
    }
  }
  return receptions;
}

}  // namespace bench
