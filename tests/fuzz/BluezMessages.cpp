// The parser of BlueZ's messages, on well-formed and malformed ones.
#include <algorithm>
#include <span>

#include "platform/bluez/Objects.h"
#include "tests/fuzz/BusMessage.h"
#include "tests/fuzz/Fuzz.h"

namespace {

using namespace platform::bluez;

// Reads every byte that a result points to.
std::size_t sumOf(std::string_view text) {
  std::size_t sum = 0;
  for (const char c : text) sum += static_cast<unsigned char>(c);
  return sum;
}

std::size_t sumOf(platform::Value value) {
  fuzz::expect(value.size() <= platform::kLargestValue, "a value that is too long");
  std::size_t sum = 0;
  for (const std::uint8_t byte : value) sum += byte;
  return sum;
}

std::size_t sumOf(const Object& object) {
  fuzz::expect(object.path.starts_with('/'), "an object without a path");
  std::size_t sum = sumOf(object.path) + sumOf(parentOf(object.path));
  sum += handleIn(object.path, "char").value_or(0);
  if (object.device && object.device->name) sum += sumOf(*object.device->name);
  if (object.characteristic && object.characteristic->value) {
    sum += sumOf(*object.characteristic->value);
  }
  return sum;
}

template <class Result>
void expectRead(const std::optional<Result>& result, bool hasSignature) {
  fuzz::expect(result.has_value() == hasSignature, "read or refused wrongly");
}

void rewind(sd_bus_message* message) {
  fuzz::expect(sd_bus_message_rewind(message, 1) >= 0, "no way back");
}

// Expects the message's bytes as the value, unless they are too many for a value.
void expectValue(sd_bus_message* message, const std::optional<platform::Value>& value,
                 bool hasSignature) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (hasSignature) {
    rewind(message);
    fuzz::expect(sd_bus_message_read_array(message, 'y', &bytes, &size) >= 0, "no bytes");
  }
  expectRead(value, hasSignature && size <= platform::kLargestValue);
  if (!value) return;
  const std::span expected(static_cast<const std::uint8_t*>(bytes), size);
  fuzz::expect(std::ranges::equal(*value, expected), "other bytes");
}

// Expects the byte of a variant that contains a byte, and nothing of any other.
void expectPercentage(sd_bus_message* message, const std::optional<std::uint8_t>& percentage,
                      bool hasSignature) {
  std::uint8_t level = 0;
  bool isByte = false;
  if (hasSignature) {
    rewind(message);
    isByte = sd_bus_message_enter_container(message, 'v', "y") > 0 &&
             sd_bus_message_read_basic(message, 'y', &level) > 0;
  }
  expectRead(percentage, isByte);
  if (percentage) fuzz::expect(*percentage == level, "another level");
}

// A message is read if it is well formed and has the right signature, and only then.
void parse(sd_bus_message* message, const std::string& signature, std::size_t parser) {
  if (parser == 0) {
    const auto objects = parseManagedObjects(message);
    expectRead(objects, signature == "a{oa{sa{sv}}}");
    for (const Object& object : objects.value_or(std::vector<Object>())) sumOf(object);
  } else if (parser == 1) {
    const auto object = parseInterfacesAdded(message);
    expectRead(object, signature == "oa{sa{sv}}");
    if (object) sumOf(*object);
  } else if (parser == 2) {
    const auto object = parseInterfacesRemoved(message);
    expectRead(object, signature == "oas");
    if (object) sumOf(object->path);
  } else if (parser == 3) {
    const auto object = parsePropertiesChanged(message);
    expectRead(object, signature == "sa{sv}as");
    if (object) sumOf(*object);
  } else if (parser == 4) {
    expectValue(message, parseValue(message), signature == "ay");
  } else {
    expectPercentage(message, parsePercentage(message), signature == "v");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr const char* expected[] = {"a{oa{sa{sv}}}", "oa{sa{sv}}", "oas", "sa{sv}as", "ay", "v"};
  subject::Choices choices(std::span(bytes, size));
  const std::size_t parser = choices.below(std::size(expected));
  const std::string signature =
      choices.below(8) == 1 ? fuzz::makeSignature(choices) : expected[parser];
  const auto message = fuzz::makeMessage(choices, signature);
  parse(message.get(), signature, parser);
  return 0;
}
