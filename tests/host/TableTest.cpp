// The decoder against docs/messages.json. cases.py has written down what each of many payloads is
// by that table: "name payload", the payload in hexadecimal, the name "-" where it is no message.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <variant>

#include "vornix_host.h"

namespace {

using namespace vornix_host;

struct Told {
  std::string name;
  std::string payload;  // written anew from the message's fields: all of them have to be right
};

template <class... Numbers>
std::string joined(std::string text, Numbers... numbers) {
  ((text += std::to_string(numbers) + ';'), ...);
  return text;
}

std::string hexadecimal(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    for (const unsigned digit : {byte / 16U, byte % 16U}) text += "0123456789ABCDEF"[digit];
  }
  return text;
}

int level(std::optional<std::uint8_t> battery) {
  return battery ? *battery : -1;
}

struct Teller {
  Told operator()(const LogEntry&) const { return {"LogEntry", ""}; }
  Told operator()(const DamagedLine&) const { return {"DamagedLine", ""}; }
  Told operator()(const UnknownMessage& it) const { return {"-", it.payload}; }
  Told operator()(const RadioUnusable& it) const {
    return {"RadioUnusable", joined("Z;", static_cast<int>(it.reason))};
  }
  Told operator()(const ProbeFound& it) const {
    return {"ProbeFound", joined("C;", static_cast<int>(it.model))};
  }
  Told operator()(const TramselFound&) const { return {"TramselFound", "C;3;0;"}; }
  Told operator()(const CorveltaBattery& it) const {
    return {"CorveltaBattery", joined("C;4;0;", it.level, 0)};
  }
  Told operator()(const FenwixIdentity& it) const {
    return {"FenwixIdentity",
            joined("C;5;0;", it.serial, it.model, it.firmware, it.hardware, it.systemId)};
  }
  Told operator()(const FenwixBattery& it) const {
    return {"FenwixBattery", joined("P0;", it.level, it.health)};
  }
  Told operator()(const FenwixRms& it) const {
    return {"FenwixRms", joined("P" + std::to_string(it.stream) + ";", it.value)};
  }
  Told operator()(const FenwixRaw& it) const {
    return {"FenwixRaw", "PR" + std::to_string(it.stream) + ";" + hexadecimal(it.bytes) + ";"};
  }
  Told operator()(const FenwixJson& it) const { return {"FenwixJson", "PJSON;" + it.text + ";"}; }
  Told operator()(const TramselMotion& it) const {
    std::string payload = joined("B;", level(it.battery));
    for (const std::int16_t value : it.values) payload = joined(payload, value);
    return {"TramselMotion", payload};
  }
  Told operator()(const CorveltaOnMains&) const { return {"CorveltaOnMains", "V;"}; }
  Told operator()(const CorveltaCalibration& it) const {
    return {"CorveltaCalibration", joined("K;NC;", it.value)};
  }
  Told operator()(const CorveltaCalibrationError& it) const {
    return {"CorveltaCalibrationError", joined("K;EC;", it.code)};
  }
  Told operator()(const CorveltaContraction& it) const {
    return {"CorveltaContraction", joined("K;MC;", it.first, it.second, it.third)};
  }
  Told operator()(const ProbeMeasurement& it) const {
    return {"ProbeMeasurement", joined("S;", level(it.battery), it.first, it.second)};
  }
};

std::string fromHexadecimal(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

TEST(Table, HasWhatTheDecoderReads) {
  std::ifstream cases(VORNIX_CASES);
  std::map<std::string, int> seen;
  for (std::string line; std::getline(cases, line);) {
    const std::string name = line.substr(0, line.find(' '));
    const std::string payload = fromHexadecimal(line.substr(line.find(' ') + 1));
    const Told told = std::visit(Teller(), decodePayload(payload));
    EXPECT_EQ(told.name, name) << payload;
    EXPECT_EQ(told.payload, payload);
    ++seen[name];
  }
  EXPECT_GT(seen["-"], 1000);
  seen.erase("-");
  EXPECT_EQ(seen.size(), 15U) << "messages of the table";
}

}  // namespace
