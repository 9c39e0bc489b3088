#include "scope/watch/Batch.h"

#include <variant>

#include "scope/Text.h"
#include "scope/watch/Json.h"

namespace scope {
namespace {

namespace host = vornix_host;

enum Stream : std::size_t {
  motion,
  probe,
  rms1,
  rms2,
  raw1,
  raw2,
  contraction,
  calibration,
  error
};

constexpr std::array<std::string_view, 9> kNames{
    "motion", "probe", "rms1", "rms2", "raw1", "raw2", "contraction", "calibration", "error"};
// A text that a device or a host wrote may be long; the page shows its beginning.
constexpr std::size_t kLongestText = 4096;

}  // namespace

template <typename... Cells>
void Batch::row(std::size_t stream, Time time, const Cells&... cells) {
  auto column = columns_[stream].begin();
  const auto put = [&](const auto& cell) {
    const std::size_t before = column->size();
    if (before > 0) *column += ',';
    json::append(*column, cell);
    bytes_ += column->size() - before;
    ++column;
  };
  put(time);
  (put(cells), ...);
  ++values_;
}

void Batch::log(Time time, std::string_view kind, std::string_view text) {
  if (!log_.empty()) log_ += ',';
  log_ += '[';
  json::append(log_, time);
  log_ += ',';
  json::append(log_, kind);
  log_ += ',';
  json::append(log_, text.substr(0, kLongestText));
  log_ += ']';
  bytes_ += text.size();
}

void Batch::add(const Piece& piece) {
  log(piece.time, originOf(piece.kind), describe(piece));
}

void Batch::add(Time time, const host::Message& message) {
  using namespace std::string_literals;
  if (const auto* value = std::get_if<host::TramselMotion>(&message)) {
    const auto& [a, b, c, d, e, f, g, h, i] = value->values;
    row(motion, time, a, b, c, d, e, f, g, h, i);
  } else if (const auto* measured = std::get_if<host::ProbeMeasurement>(&message)) {
    row(probe, time, measured->first, measured->second);
  } else if (const auto* rms = std::get_if<host::FenwixRms>(&message)) {
    row(rms->stream == 1 ? rms1 : rms2, time, rms->value);
  } else if (const auto* raw = std::get_if<host::FenwixRaw>(&message)) {
    row(raw->stream == 1 ? raw1 : raw2, time, std::string_view(toHex(raw->bytes)));
  } else if (const auto* record = std::get_if<host::CorveltaContraction>(&message)) {
    row(contraction, time, record->first, record->second, record->third);
  } else if (const auto* done = std::get_if<host::CorveltaCalibration>(&message)) {
    row(calibration, time, done->value);
    log(time, "message", "K;NC;" + std::to_string(done->value) + ';');
  } else if (const auto* failed = std::get_if<host::CorveltaCalibrationError>(&message)) {
    row(error, time, failed->code);
    log(time, "message", "K;EC;" + std::to_string(failed->code) + ';');
  } else if (const auto* entry = std::get_if<host::LogEntry>(&message)) {
    log(time, "bridge", entry->text);
  } else if (const auto* unknown = std::get_if<host::UnknownMessage>(&message)) {
    log(time, "unknown", unknown->payload);
  } else if (const auto* damaged = std::get_if<host::DamagedLine>(&message)) {
    log(time, "damaged", damaged->bytes);
  } else if (const auto* document = std::get_if<host::FenwixJson>(&message)) {
    log(time, "message", "PJSON; " + std::to_string(document->text.size()) + " bytes");
  } else if (const auto* radio = std::get_if<host::RadioUnusable>(&message)) {
    log(time, "message", "Z;"s + std::to_string(static_cast<int>(radio->reason)) + ';');
  } else if (std::holds_alternative<host::CorveltaOnMains>(message)) {
    log(time, "message", "V;");
  }
}

std::string Batch::take() {
  std::string json;
  for (std::size_t stream = 0; stream < kStreams; ++stream) {
    auto& columns = columns_[stream];
    if (columns[0].empty()) continue;
    ((json += json.empty() ? "\"" : ",\"") += kNames[stream]) += "\":[";
    for (std::size_t i = 0; i < kMostColumns && !columns[i].empty(); ++i) {
      ((json += i > 0 ? ",[" : "[") += columns[i]) += ']';
      columns[i].clear();
    }
    json += ']';
  }
  if (!log_.empty()) ((json += json.empty() ? "\"log\":[" : ",\"log\":[") += log_) += ']';
  log_.clear();
  values_ = 0;
  bytes_ = 0;
  return json;
}

}  // namespace scope
