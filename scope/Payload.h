// A message's payload, as the bridge has written it: "K;NC;7;".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "scope/Text.h"
#include "vornix_host/Table.h"

namespace scope {

class PayloadWriter {
 public:
  std::string payload;

  bool is(std::string_view text) {
    payload += text;
    return true;
  }
  template <typename Number>
  bool field(std::string_view /*name*/, Number value, std::int64_t /*least*/,
             std::int64_t /*most*/) {
    return is(std::to_string(static_cast<std::int64_t>(value)));
  }
  template <typename Number>
  bool field(std::string_view /*name*/, const std::optional<Number>& value, std::int64_t absent,
             std::int64_t /*most*/) {
    return is(std::to_string(value ? std::int64_t{*value} : absent));
  }
  bool field(std::string_view /*name*/, const std::vector<std::uint8_t>& bytes) {
    return is(toHex(bytes));
  }
  bool field(std::string_view /*name*/, const std::string& text) { return is(text); }
};

template <typename Kind>
std::string payloadOf(const Kind& message) {
  PayloadWriter writer;
  vornix_host::Form<Kind>::visit(writer, message);
  return writer.payload;
}

}  // namespace scope
