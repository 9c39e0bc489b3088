#include "tests/oracle/Commands.h"

#include "tests/oracle/Identifiers.h"

namespace oracle {

namespace {

std::vector<std::string> fieldsOf(const std::string& line) {
  std::vector<std::string> fields(1);
  for (const char c : line) {
    if (c == ' ') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return fields;
}

// Reads a number as a person would: a sign and digits, which are compared as text with those of the
// greatest number.
std::optional<std::uint32_t> number(std::string text, const std::string& greatest) {
  bool negative = false;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
    negative = text[0] == '-';
    text.erase(0, 1);
  }
  if (text.empty()) return std::nullopt;
  for (const char c : text) {
    if (std::string("0123456789").find(c) == std::string::npos) return std::nullopt;
  }
  while (text.size() > 1 && text[0] == '0') text.erase(0, 1);
  if (negative && text != "0") return std::nullopt;
  if (text.size() > greatest.size()) return std::nullopt;
  if (text.size() == greatest.size() && text > greatest) return std::nullopt;
  return static_cast<std::uint32_t>(std::stoul(text));
}

}  // namespace

const std::vector<Command>& commands() {
  using Act = Command::Act;
  static const std::vector<Command> all = {
      {"kill", "cde : kill", Act::end},
      {"CV_debutCalib",
       "cde : start CV calibration",
       Act::write,
       &corvelta,
       characCalibration,
       {1}},
      {"CV_finCalib", "cde : stop CV calibration", Act::write, &corvelta, characCalibration, {0}},
      {"CV_debutAcquisition",
       "cde : start CV acquisition",
       Act::write,
       &corvelta,
       characAcquisition,
       {1}},
      {"CV_finAcquisition",
       "cde : stop CV acquistion",
       Act::write,
       &corvelta,
       characAcquisition,
       {0}},
      {"FX_startRaw", "cde : start raw", Act::subscribe, &fenwix, characRaw},
      {"FX_stopRaw", "cde : stop raw", Act::unsubscribe, &fenwix, characRaw},
      {"FX_startRaw2", "cde : start raw 2", Act::subscribe, &fenwix, characRaw2},
      {"FX_stopRaw2", "cde : stop raw 2", Act::unsubscribe, &fenwix, characRaw2},
      {"FX_getJson", "cde : get json", Act::write, &fenwix, characCommand, {19, 0, 0}},
      {"FX_cmdWriteInt", "cde : Fenwix Cmd Write Int", Act::write, &fenwix, characCommand, {}, 4},
      {"FX_cmdWriteByte", "cde : Fenwix Cmd Write Byte", Act::write, &fenwix, characCommand, {}, 1},
  };
  return all;
}

const Command* commandOf(const std::string& line) {
  for (const Command& command : commands()) {
    const std::string beginning = line.substr(0, command.text.size());
    if ((command.argumentBytes == 0 ? line : beginning) == command.text) return &command;
  }
  return nullptr;
}

std::optional<Bytes> bytesOf(const Command& command, const std::string& line) {
  if (command.argumentBytes == 0) return command.bytes;
  const auto fields = fieldsOf(line);
  if (fields.size() < 3) return std::nullopt;
  const auto code = number(fields[1], "255");
  const auto value = number(fields[2], command.argumentBytes == 4 ? "4294967295" : "255");
  if (!code || !value) return std::nullopt;
  Bytes frame = {static_cast<std::uint8_t>(*code), static_cast<std::uint8_t>(command.argumentBytes),
                 0};
  std::uint32_t rest = *value;
  for (std::size_t i = 0; i < command.argumentBytes; ++i) {
    frame.push_back(static_cast<std::uint8_t>(rest % 256));
    rest /= 256;
  }
  return frame;
}

}  // namespace oracle
