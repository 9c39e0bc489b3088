// Gives a line its meaning. A payload is taken for a known kind only when it is exactly what the
// bridge writes: all fields there, none too many, each number within its range.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Fields.h"
#include "Line.h"
#include "Message.h"

namespace vornix_host {
namespace detail {

using MaybeMessage = std::optional<Message>;

inline MaybeMessage radioUnusable(const Fields& fields) {
  int reason = 0;
  if (!fields.read(1, reason) || reason < 2 || reason > 4) return std::nullopt;
  return RadioUnusable{static_cast<RadioUnusable::Reason>(reason)};
}

// Messages that are constant from the first field to the last.
template <typename Constant>
MaybeMessage constant(const Constant& message, const Fields& fields, std::size_t size) {
  return fields.size() == size ? MaybeMessage(message) : std::nullopt;
}

inline MaybeMessage corveltaBattery(const Fields& fields) {
  CorveltaBattery battery;
  int first = 0;
  int last = 0;
  if (!fields.read(2, first, battery.level, last) || first != 0 || last != 0) return std::nullopt;
  return battery;
}

inline MaybeMessage fenwixIdentity(const Fields& fields) {
  FenwixIdentity id;
  int constant = 0;
  const bool whole =
      fields.read(2, constant, id.serial, id.model, id.firmware, id.hardware, id.systemId);
  return whole && constant == 0 && id.serial != 0 ? MaybeMessage(id) : std::nullopt;
}

inline MaybeMessage found(const Fields& fields) {
  const std::string_view family = fields[1];
  if (family == "1") return constant(ProbeFound{ProbeFound::Model::ilo}, fields, 2);
  if (family == "2") return constant(ProbeFound{ProbeFound::Model::tenoval}, fields, 2);
  if (family == "3" && fields[2] == "0") return constant(TramselFound{}, fields, 3);
  if (family == "4") return corveltaBattery(fields);
  if (family == "5") return fenwixIdentity(fields);
  return std::nullopt;
}

inline MaybeMessage fenwixBattery(const Fields& fields) {
  FenwixBattery battery;
  return fields.read(1, battery.level, battery.health) ? MaybeMessage(battery) : std::nullopt;
}

inline MaybeMessage fenwixRms(const Fields& fields) {
  FenwixRms rms;
  rms.stream = fields[0] == "P1" ? 1 : 2;
  return fields.read(1, rms.value) ? MaybeMessage(rms) : std::nullopt;
}

inline MaybeMessage fenwixRaw(const Fields& fields) {
  const std::string_view hex = fields[1];
  if (fields.size() != 2 || hex.size() % 2 != 0) return std::nullopt;
  FenwixRaw raw;
  raw.stream = fields[0] == "PR1" ? 1 : 2;
  raw.bytes.resize(hex.size() / 2);
  for (std::size_t i = 0; i < hex.size(); ++i) {
    const std::size_t digit = std::string_view("0123456789ABCDEF").find(hex[i]);
    if (digit == std::string_view::npos) return std::nullopt;
    raw.bytes[i / 2] = static_cast<std::uint8_t>(raw.bytes[i / 2] << 4U | static_cast<int>(digit));
  }
  return raw;
}

// A battery level that is -1 while unknown.
inline bool level(int field, std::optional<std::uint8_t>& level) {
  if (field >= 0) level = static_cast<std::uint8_t>(field);
  return field >= -1 && field <= 255;
}

inline MaybeMessage tramselMotion(const Fields& fields) {
  TramselMotion motion;
  int battery = 0;
  auto& [a, b, c, d, e, f, g, h, i] = motion.values;
  const bool whole = fields.read(1, battery, a, b, c, d, e, f, g, h, i);
  return whole && level(battery, motion.battery) ? MaybeMessage(motion) : std::nullopt;
}

inline MaybeMessage probeMeasurement(const Fields& fields) {
  ProbeMeasurement measurement;
  int battery = 0;
  const bool whole = fields.read(1, battery, measurement.first, measurement.second);
  return whole && level(battery, measurement.battery) ? MaybeMessage(measurement) : std::nullopt;
}

inline MaybeMessage onMains(const Fields& fields) {
  return constant(CorveltaOnMains{}, fields, 1);
}

inline MaybeMessage corvelta(const Fields& fields) {
  if (fields[1] == "NC") {
    CorveltaCalibration calibration;
    return fields.read(2, calibration.value) ? MaybeMessage(calibration) : std::nullopt;
  }
  if (fields[1] == "EC") {
    CorveltaCalibrationError error;
    return fields.read(2, error.code) ? MaybeMessage(error) : std::nullopt;
  }
  CorveltaContraction record;
  const bool whole = fields[1] == "MC" && fields.read(2, record.first, record.second, record.third);
  return whole && record.third <= 0xFFFFFF ? MaybeMessage(record) : std::nullopt;
}

inline MaybeMessage known(const Fields& fields) {
  using Decoder = MaybeMessage (*)(const Fields&);
  static constexpr std::array<std::pair<std::string_view, Decoder>, 11> decoders{{
      {"B", tramselMotion},
      {"P1", fenwixRms},
      {"P2", fenwixRms},
      {"PR1", fenwixRaw},
      {"PR2", fenwixRaw},
      {"S", probeMeasurement},
      {"K", corvelta},
      {"P0", fenwixBattery},
      {"V", onMains},
      {"C", found},
      {"Z", radioUnusable},
  }};
  for (const auto& [kind, decoder] : decoders) {
    if (fields[0] == kind) return decoder(fields);
  }
  return std::nullopt;
}

}  // namespace detail

// Of a payload alone, without its frame and checksum.
inline Message decodePayload(std::string_view payload) {
  constexpr std::string_view json = "PJSON;";
  if (payload.starts_with(json) && payload.size() > json.size() && payload.back() == ';') {
    return FenwixJson{std::string(payload.substr(json.size(), payload.size() - json.size() - 1))};
  }
  if (detail::MaybeMessage message = detail::known(Fields(payload))) return *std::move(message);
  return UnknownMessage{std::string(payload)};
}

inline Message decode(const Line& line) {
  switch (line.kind) {
    case LineKind::log:
      return LogEntry{line.time, std::string(line.text)};
    case LineKind::message:
      return decodePayload(line.text);
    case LineKind::damaged:
      break;
  }
  return DamagedLine{std::string(line.bytes), line.mayBeDocument};
}

}  // namespace vornix_host
