#include "scope/record/Export.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>
#include <variant>

#include "scope/Payload.h"
#include "scope/Text.h"
#include "scope/record/Lines.h"
#include "scope/record/Reader.h"
#include "vornix_host.h"

namespace scope {
namespace {

namespace host = vornix_host;

// Quoted where need be. A text that a spreadsheet would take for a formula gets a ' before it: it
// may be a stranger's.
std::string cell(std::string_view text) {
  const bool isFormula =
      !text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos;
  std::string quoted = isFormula ? "\"'" : "\"";
  for (const char character : text) {
    if (character == '"') quoted += '"';
    if (character != '\0') quoted += character;
  }
  return quoted += '"';
}

// A message's fields as a table has them: but for the stream, by which there is a table each.
class Columns {
 public:
  std::string names;
  std::string cells;

  bool is(std::string_view /*text*/) { return true; }
  template <typename Number>
  bool field(std::string_view name, Number value, std::int64_t /*least*/, std::int64_t /*most*/) {
    return name == "stream" || add(name, std::to_string(static_cast<std::int64_t>(value)));
  }
  template <typename Number>
  bool field(std::string_view name, const std::optional<Number>& value, std::int64_t /*absent*/,
             std::int64_t /*most*/) {
    return add(name, value ? std::to_string(*value) : "");
  }
  bool field(std::string_view name, const std::vector<std::uint8_t>& bytes) {
    return add(name, '"' + toHex(bytes) + '"');
  }
  bool field(std::string_view name, const std::string& text) { return add(name, cell(text)); }

 private:
  bool add(std::string_view name, const std::string& value) {
    if (!names.empty()) {
      names += ',';
      cells += ',';
    }
    names += name;
    cells += value;
    return true;
  }
};

class Tables {
 public:
  explicit Tables(std::string folder) : folder_(std::move(folder)) {}

  void add(const Piece& piece) {
    if (piece.kind == Kind::session) {
      begin_ = piece.time;
    } else if (piece.kind != Kind::output) {
      row(piece.time, "log", "from,text",
          std::string(originOf(piece.kind)) + ',' + cell(describe(piece)));
    }
  }

  void add(const Piece& piece, const host::Line& line) {
    time_ = piece.time;
    std::visit([this](const auto& message) { add(message); }, host::decode(line));
  }

  std::vector<std::string> close() {
    std::vector<std::string> names;
    for (auto& [name, table] : tables_) {
      names.push_back(table.path + ": " + std::to_string(table.rows) + " rows");
      std::FILE* const file = table.file.release();
      if (std::ferror(file) != 0 || std::fclose(file) != 0) fail(table.path);
    }
    return names;
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  struct Table {
    std::string path;
    std::unique_ptr<std::FILE, Close> file;
    std::uint64_t rows = 0;
  };

  static void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
  }

  // Every table begins with the wall clock's time, in UTC, and the seconds since the session began.
  void row(Time time, const std::string& name, const std::string& columns,
           const std::string& cells) {
    Table& table = tables_[name];
    if (!table.file) {
      table.path = (std::filesystem::path(folder_) / (name + ".csv")).string();
      table.file.reset(std::fopen(table.path.c_str(), "we"));
      if (!table.file) fail(table.path);
      std::fprintf(table.file.get(), "time_utc,seconds,%s\n", columns.c_str());
    }
    ++table.rows;
    const Time wall = begin_ + time;
    const std::time_t seconds = wall / 1'000'000;
    tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S", &parts);
    std::fprintf(table.file.get(), "%s.%06d,%lld.%06d,%s\n", date.data(),
                 static_cast<int>(wall % 1'000'000), static_cast<long long>(time / 1'000'000),
                 static_cast<int>(time % 1'000'000), cells.c_str());
  }
  void row(const std::string& name, const std::string& columns, const std::string& cells) {
    row(time_, name, columns, cells);
  }

  void log(std::string_view from, std::string_view text) {
    row("log", "from,text", std::string(from) + ',' + cell(text));
  }

  void add(const host::LogEntry& entry) { log("bridge", entry.text); }
  template <typename Kind>
  void add(const Kind& message) {
    if constexpr (host::Form<Kind>::tables.empty()) {
      log("message", payloadOf(message));
    } else {
      Columns columns;
      host::Form<Kind>::visit(columns, message);
      row(std::string(host::tableOf(message)), columns.names, columns.cells);
    }
  }
  void add(const host::UnknownMessage& message) { log("message", message.payload); }
  void add(const host::DamagedLine& line) { log("damaged", line.bytes); }

  std::string folder_;
  std::map<std::string, Table> tables_;
  Time begin_ = 0;
  Time time_ = 0;
};

}  // namespace

std::vector<std::string> exportTables(const std::string& recording, const std::string& folder) {
  RecordingReader reader(recording);
  std::filesystem::create_directories(folder);
  Tables tables(folder);
  std::optional<Lines> lines;
  Time last = 0;
  const auto begin = [&] {
    if (lines) lines->finish(last);
    lines.emplace([&](const Piece& piece, const host::Line& line) { tables.add(piece, line); },
                  [&](const Piece& piece) { tables.add(piece); });
  };
  begin();
  while (const std::optional<Piece> piece = reader.next()) {
    // A session that was cut off must not run into the next one.
    if (piece->kind == Kind::session) begin();
    if (piece->kind != Kind::session) last = piece->time;
    lines->add(*piece);
  }
  lines->finish(last);
  return tables.close();
}

}  // namespace scope
