// Writes JSON, as far as the page needs it.
#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>

namespace scope::json {

// A string with its quotes. Bytes that are no UTF-8 become the replacement character, since JSON
// has no place for them.
void append(std::string& json, std::string_view text);

template <std::integral Number>
void append(std::string& json, Number number) {
  json += std::to_string(number);
}
inline void append(std::string& json, bool value) {
  json += value ? "true" : "false";
}
template <typename Value>
void append(std::string& json, const std::optional<Value>& value) {
  if (value) {
    append(json, *value);
  } else {
    json += "null";
  }
}

// "name":value, with a comma before it unless it is the object's first.
template <typename Value>
void member(std::string& json, std::string_view name, const Value& value) {
  if (json.back() != '{') json += ',';
  ((json += '"') += name) += "\":";
  append(json, value);
}
inline void member(std::string& json, std::string_view name, const char* value) {
  member(json, name, std::string_view(value));
}

}  // namespace scope::json
