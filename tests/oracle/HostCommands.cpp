// The host's commands, in the model.
#include "tests/oracle/Bridge.h"

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

// As a person would read it: sign, digits, and the digits compared as text with the greatest
// number.
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

void Bridge::command(const std::string& line) {
  const auto says = [&](const std::string& text) { return line == text; };
  const auto begins = [&](const std::string& text) { return line.substr(0, text.size()) == text; };

  if (says("kill")) {
    expected_.log("cde : kill");
    expected_.exit();
  } else if (says("CV_debutCalib")) {
    expected_.log("cde : start CV calibration");
    writeCorvelta(1, &Corvelta::calibration);
  } else if (says("CV_finCalib")) {
    expected_.log("cde : stop CV calibration");
    writeCorvelta(0, &Corvelta::calibration);
  } else if (says("CV_debutAcquisition")) {
    expected_.log("cde : start CV acquisition");
    writeCorvelta(1, &Corvelta::acquisition);
  } else if (says("CV_finAcquisition")) {
    expected_.log("cde : stop CV acquistion");
    writeCorvelta(0, &Corvelta::acquisition);
  } else if (says("FX_startRaw")) {
    expected_.log("cde : start raw");
    notifyFenwix(true, &Fenwix::raw);
  } else if (says("FX_stopRaw")) {
    expected_.log("cde : stop raw");
    notifyFenwix(false, &Fenwix::raw);
  } else if (says("FX_startRaw2")) {
    expected_.log("cde : start raw 2");
    notifyFenwix(true, &Fenwix::raw2);
  } else if (says("FX_stopRaw2")) {
    expected_.log("cde : stop raw 2");
    notifyFenwix(false, &Fenwix::raw2);
  } else if (says("FX_getJson")) {
    expected_.log("cde : get json");
    fenwix().writeCommand({19, 0, 0});
  } else if (begins("FX_cmdWriteInt")) {
    expected_.log("cde : Fenwix Cmd Write Int");
    numberedCommand(line, 4);
  } else if (begins("FX_cmdWriteByte")) {
    expected_.log("cde : Fenwix Cmd Write Byte");
    numberedCommand(line, 1);
  } else {
    expected_.log("commande recue non traitee : " + line);
  }
}

void Bridge::numberedCommand(const std::string& line, std::size_t bytes) {
  const auto fields = fieldsOf(line);
  if (fields.size() < 3) expected_.hardStop();
  const auto code = number(fields[1], "255");
  const auto value = number(fields[2], bytes == 4 ? "4294967295" : "255");
  if (!code || !value) expected_.hardStop();
  Bytes frame = {static_cast<std::uint8_t>(*code), static_cast<std::uint8_t>(bytes), 0};
  std::uint32_t rest = *value;
  for (std::size_t i = 0; i < bytes; ++i) {
    frame.push_back(static_cast<std::uint8_t>(rest % 256));
    rest /= 256;
  }
  fenwix().writeCommand(frame);
}

void Bridge::writeCorvelta(int byte, std::optional<Characteristic> Corvelta::*characteristic) {
  if (!corvelta_ || !((*corvelta_).*characteristic)) expected_.hardStop();
  expected_.call(writing(corvelta_->device(), {static_cast<std::uint8_t>(byte)},
                         *((*corvelta_).*characteristic)));
}

void Bridge::notifyFenwix(bool enabled, std::optional<Characteristic> Fenwix::*characteristic) {
  if (!(fenwix().*characteristic)) expected_.hardStop();
  expected_.call(notifying(fenwix().device(), enabled, *(fenwix().*characteristic)));
}

Fenwix& Bridge::fenwix() {
  if (!fenwix_) expected_.hardStop();
  return *fenwix_;
}

// A line ends at a line feed, and loses a carriage return before it too; the last one may lack it.
void Bridge::standardInput(const std::string& bytes) {
  std::string rest = bytes;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    std::string line = rest.substr(0, end);
    if (end != std::string::npos && !line.empty() && line.back() == '\r') line.pop_back();
    rest = end == std::string::npos ? "" : rest.substr(end + 1);
    command(line);
  }
  expected_.exit();
}

}  // namespace oracle
