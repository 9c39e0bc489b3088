// Compares the decoder with docs/messages.json. cases.py writes what many payloads mean by that
// table, as "name payload field=value ...": payload and values in hexadecimal, the name "-" for a
// payload that is no message.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "vornix_host.h"

namespace {

using namespace vornix_host;

template <typename Bytes>
std::string hexadecimal(const Bytes& bytes, std::string_view all) {
  std::string text;
  for (const auto byte : bytes) {
    const unsigned value = static_cast<unsigned char>(byte);
    for (const unsigned digit : {value / 16U, value % 16U}) text += all[digit];
  }
  return text;
}

// Collects the fields of a message in the form that cases.py writes.
class Told {
 public:
  std::string fields;

  bool is(std::string_view /*text*/) { return true; }

  template <typename Number>
  bool field(std::string_view name, Number value, std::int64_t /*least*/, std::int64_t /*most*/) {
    return add(name, std::to_string(static_cast<std::int64_t>(value)));
  }
  template <typename Number>
  bool field(std::string_view name, std::optional<Number> value, std::int64_t absent,
             std::int64_t /*most*/) {
    return add(name, std::to_string(value ? std::int64_t{*value} : absent));
  }
  bool field(std::string_view name, const std::vector<std::uint8_t>& bytes) {
    return add(name, hexadecimal(bytes, "0123456789ABCDEF"));
  }
  bool field(std::string_view name, const std::string& text) { return add(name, text); }

 private:
  bool add(std::string_view name, const std::string& value) {
    ((fields += name) += '=') += hexadecimal(value, "0123456789abcdef") + ' ';
    return true;
  }
};

std::string told(const Message& message) {
  return std::visit(
      [](const auto& kind) {
        using Kind = std::decay_t<decltype(kind)>;
        if constexpr (requires { Form<Kind>::name; }) {
          Told told;
          EXPECT_TRUE(Form<Kind>::visit(told, kind));
          return std::string(Form<Kind>::name) + ' ' + told.fields;
        } else {
          return std::string(std::is_same_v<Kind, UnknownMessage> ? "- " : "line ");
        }
      },
      message);
}

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
    std::istringstream words(line);
    std::string name;
    std::string digits;
    words >> name >> digits;
    std::string expected = name + ' ';
    for (std::string field; words >> field;) expected += field + ' ';
    const std::string payload = fromHexadecimal(digits);
    EXPECT_EQ(told(decodePayload(payload)), expected) << payload;
    ++seen[name];
  }
  EXPECT_GT(seen["-"], 1000);
  EXPECT_EQ(seen.size(), std::variant_size_v<AnyOf<>> + 1) << "all messages, and payloads of none";
}

}  // namespace
