#include "Values.h"

#include "lab/Text.h"
#include "vornix_host.h"

namespace bench {
namespace {

std::optional<Stamp> stampInMessage(std::string_view line) {
  vornix_host::LineReader reader;
  reader.feed(std::string(line) + "\n");
  const auto whole = reader.next();
  if (!whole || whole->kind != vornix_host::LineKind::message) return std::nullopt;
  const vornix_host::Message message = vornix_host::decode(*whole);
  const auto* motion = std::get_if<vornix_host::TramselMotion>(&message);
  if (motion == nullptr) return std::nullopt;
  lab::Bytes bytes;
  for (const std::int16_t word : motion->values) {
    const auto bits = static_cast<std::uint16_t>(word);
    bytes.push_back(static_cast<std::uint8_t>(bits & 0xFFU));
    bytes.push_back(static_cast<std::uint8_t>(bits >> 8U));
  }
  return Stamp::of(bytes);
}

}  // namespace

std::optional<Stamp> stampIn(std::string_view line, Form form) {
  if (form == Form::message) return stampInMessage(line);
  const auto bytes = lab::fromHex(line);
  return bytes ? Stamp::of(*bytes) : std::nullopt;
}

Reception receptionOf(const std::vector<Output::Line>& lines, Form form, unsigned count) {
  Reception reception;
  std::vector<bool> isThere(count + 1, false);
  for (const Output::Line& line : lines) {
    const auto stamp = stampIn(line.text, form);
    if (!stamp || stamp->number == 0 || stamp->number > count || isThere[stamp->number]) continue;
    isThere[stamp->number] = true;
    ++reception.received;
    const std::chrono::duration<double, std::milli> latency = line.arrived - stamp->sent;
    reception.latencies.push_back(latency.count());
  }
  return reception;
}

}  // namespace bench
