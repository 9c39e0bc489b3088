#include "HostCommands.h"

#include <fcntl.h>
#include <poll.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "EndProcess.h"
#include "Output.h"
#include "Precondition.h"
#include "Utils.h"

using platform::CBCharacteristic;

namespace {

using CharacteristicField = std::atomic<CBCharacteristic*>;

using CorveltaOrder = const std::array<std::uint8_t, 1>;

void writeCorvelta(ComBLE& comBLE, CorveltaOrder ComCorvelta::*order,
                   CharacteristicField ComCorvelta::*field) {
  ComCorvelta* corvelta = comBLE.comCorvelta.get();
  require(corvelta != nullptr);
  CBCharacteristic* characteristic = corvelta->*field;
  require(characteristic != nullptr);
  corvelta->peripheral->writeValue(corvelta->*order, *characteristic,
                                   platform::CBCharacteristicWriteType::withResponse);
}

ComFenwix& fenwixOf(ComBLE& comBLE) {
  ComFenwix* fenwix = comBLE.comFenwix.get();
  require(fenwix != nullptr);
  return *fenwix;
}

void notifyFenwix(ComBLE& comBLE, bool enabled, CharacteristicField ComFenwix::*field) {
  ComFenwix& fenwix = fenwixOf(comBLE);
  CBCharacteristic* characteristic = fenwix.*field;
  require(characteristic != nullptr);
  fenwix.peripheral->setNotifyValue(enabled, *characteristic);
}

// The field at the index when the line is split at every single blank.
std::string_view fieldAt(std::string_view line, int index) {
  for (; index > 0; --index) {
    const auto blank = line.find(' ');
    require(blank != std::string_view::npos);
    line.remove_prefix(blank + 1);
  }
  return line.substr(0, line.find(' '));
}

// An optional sign, then decimal digits and nothing else, within the type; "-0" is 0.
template <class Number>
Number parse(std::string_view field) {
  const bool negative = field.starts_with('-');
  if (negative || field.starts_with('+')) field.remove_prefix(1);
  require(!field.empty());
  std::uint64_t number = 0;
  for (const char c : field) {
    require(c >= '0' && c <= '9');
    number = 10 * number + static_cast<std::uint64_t>(c - '0');
    require(number <= std::numeric_limits<Number>::max());
  }
  require(!negative || number == 0);
  return static_cast<Number>(number);
}

struct HostCommand {
  std::string_view text;
  std::string_view log;
  void (*act)(ComBLE& comBLE, std::string_view line);
  bool hasArguments = false;  // the line then only has to begin with the text
  bool isTheEnd = false;      // ends the process, so its log line is not waited for
};

constexpr HostCommand kCommands[] = {
    {"kill", "cde : kill", [](ComBLE&, std::string_view) { endProcess(); }, false, true},
    {"CV_debutCalib", "cde : start CV calibration",
     [](ComBLE& comBLE, std::string_view) {
       writeCorvelta(comBLE, &ComCorvelta::data1, &ComCorvelta::charac_calibration);
     }},
    {"CV_finCalib", "cde : stop CV calibration",
     [](ComBLE& comBLE, std::string_view) {
       writeCorvelta(comBLE, &ComCorvelta::data0, &ComCorvelta::charac_calibration);
     }},
    {"CV_debutAcquisition", "cde : start CV acquisition",
     [](ComBLE& comBLE, std::string_view) {
       writeCorvelta(comBLE, &ComCorvelta::data1, &ComCorvelta::charac_acquisition);
     }},
    {"CV_finAcquisition", "cde : stop CV acquistion",  // the host's logs have it so
     [](ComBLE& comBLE, std::string_view) {
       writeCorvelta(comBLE, &ComCorvelta::data0, &ComCorvelta::charac_acquisition);
     }},
    {"FX_startRaw", "cde : start raw",
     [](ComBLE& comBLE, std::string_view) { notifyFenwix(comBLE, true, &ComFenwix::characRaw); }},
    {"FX_stopRaw", "cde : stop raw",
     [](ComBLE& comBLE, std::string_view) { notifyFenwix(comBLE, false, &ComFenwix::characRaw); }},
    {"FX_startRaw2", "cde : start raw 2",
     [](ComBLE& comBLE, std::string_view) { notifyFenwix(comBLE, true, &ComFenwix::characRaw2); }},
    {"FX_stopRaw2", "cde : stop raw 2",
     [](ComBLE& comBLE, std::string_view) { notifyFenwix(comBLE, false, &ComFenwix::characRaw2); }},
    {"FX_getJson", "cde : get json",
     [](ComBLE& comBLE, std::string_view) { fenwixOf(comBLE).writeFenwixCommand(19); }},
    {"FX_cmdWriteInt", "cde : Fenwix Cmd Write Int",
     [](ComBLE& comBLE, std::string_view line) {
       const auto cde = parse<std::uint8_t>(fieldAt(line, 1));
       const auto valeur = parse<std::uint32_t>(fieldAt(line, 2));
       fenwixOf(comBLE).writeFenwixCommandInt(cde, valeur);
     },
     true},
    {"FX_cmdWriteByte", "cde : Fenwix Cmd Write Byte",
     [](ComBLE& comBLE, std::string_view line) {
       const auto cde = parse<std::uint8_t>(fieldAt(line, 1));
       const auto valeur = parse<std::uint8_t>(fieldAt(line, 2));
       fenwixOf(comBLE).writeFenwixCommandByte(cde, valeur);
     },
     true},
};

bool matches(const HostCommand& command, std::string_view line) {
  return command.hasArguments ? line.starts_with(command.text) : line == command.text;
}

}  // namespace

void handleHostCommand(ComBLE& comBLE, std::string_view line) {
  for (const HostCommand& command : kCommands) {
    if (!matches(command, line)) continue;
    writeLine(command.log);
    if (!command.isTheEnd) standardOutput().waitUntilOut();
    command.act(comBLE, line);
    return;
  }
  writeLine("commande recue non traitee : ", line);
  standardOutput().waitUntilOut();
}

// On macOS terminals and other devices cannot be polled, and reading their first character might
// block for long; that is left to the reader thread.
bool hostSendsNothing() {
  pollfd input{fileno(stdin), POLLIN, 0};
  if (::poll(&input, 1, 0) <= 0) return false;
  if ((input.revents & POLLNVAL) != 0) return ::fcntl(input.fd, F_GETFD) < 0;
  const int first = std::getc(stdin);
  if (first != EOF) std::ungetc(first, stdin);
  return first == EOF;
}

void readHostCommands(ComBLE& comBLE, const std::atomic<bool>& isRunning) {
  char* buffer = nullptr;
  std::size_t capacity = 0;
  for (;;) {
    const auto length = ::getline(&buffer, &capacity, stdin);
    if (length < 0 || !isRunning) endProcess();
    std::string_view line(buffer, static_cast<std::size_t>(length));
    if (line.ends_with('\n')) {
      line.remove_suffix(1);
      if (line.ends_with('\r')) line.remove_suffix(1);
    }
    handleHostCommand(comBLE, line);
  }
}
