#include "scope/watch/Batch.h"

#include <cstdint>
#include <optional>
#include <variant>

#include "scope/Payload.h"
#include "scope/Text.h"
#include "scope/watch/Json.h"

namespace scope {
namespace {

namespace host = vornix_host;

// A text that a device or a host wrote may be long; the page shows its beginning.
constexpr std::size_t kLongestText = 4096;

// Puts a time and a message's fields into the columns of its plot: but for which of the streams it
// is, and for what may be absent, which the device's card shows.
class Row {
 public:
  Row(std::vector<std::string>& columns, std::size_t& bytes) : columns_(columns), bytes_(bytes) {}

  template <typename Cell>
  bool put(const Cell& cell) {
    if (place_ == columns_.size()) columns_.emplace_back();
    std::string& column = columns_[place_++];
    const std::size_t before = column.size();
    if (before > 0) column += ',';
    json::append(column, cell);
    bytes_ += column.size() - before;
    return true;
  }

  bool is(std::string_view /*text*/) { return true; }
  template <typename Number>
  bool field(std::string_view name, Number value, std::int64_t /*least*/, std::int64_t /*most*/) {
    return name == "stream" || put(value);
  }
  template <typename Number>
  bool field(std::string_view /*name*/, const std::optional<Number>& /*value*/,
             std::int64_t /*absent*/, std::int64_t /*most*/) {
    return true;
  }
  bool field(std::string_view /*name*/, const std::vector<std::uint8_t>& bytes) {
    return put(std::string_view(toHex(bytes)));
  }

 private:
  std::vector<std::string>& columns_;
  std::size_t& bytes_;
  std::size_t place_ = 0;
};

}  // namespace

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

template <typename Kind>
void Batch::did(Time time, const Kind& message) {
  using Form = host::Form<Kind>;
  if constexpr (Form::isPlotted) {
    Row row(columns_[host::plotOf(message)], bytes_);
    row.put(time);
    Form::visit(row, message);
    ++values_;
  }
  // What comes now and then, or says all by its coming.
  if constexpr (Form::arePoints || Form::tables.empty()) log(time, "message", payloadOf(message));
}

void Batch::did(Time time, const host::LogEntry& entry) {
  log(time, "bridge", entry.text);
}

void Batch::did(Time time, const host::UnknownMessage& unknown) {
  log(time, "unknown", unknown.payload);
}

void Batch::did(Time time, const host::DamagedLine& damaged) {
  log(time, "damaged", damaged.bytes);
}

// Which has a place of its own on the page.
void Batch::did(Time time, const host::FenwixJson& document) {
  log(time, "message", "PJSON; " + std::to_string(document.text.size()) + " bytes");
}

void Batch::add(Time time, const host::Message& message) {
  std::visit([&](const auto& what) { did(time, what); }, message);
}

std::string Batch::take() {
  std::string json;
  for (std::size_t plot = 0; plot < columns_.size(); ++plot) {
    auto& columns = columns_[plot];
    if (columns.empty() || columns.front().empty()) continue;
    ((json += json.empty() ? "\"" : ",\"") += host::plots[plot]) += "\":[";
    for (std::string& column : columns) {
      ((json += &column == &columns.front() ? "[" : ",[") += column) += ']';
      column.clear();
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
