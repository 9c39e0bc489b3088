#include "tests/fuzz/BusMessage.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "tests/fuzz/Fuzz.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Utf8.h"

namespace fuzz {

namespace {

using subject::Choices;

constexpr std::array<const char*, 7> interfaces = {"org.bluez.Adapter1",
                                                   "org.bluez.Device1",
                                                   "org.bluez.GattService1",
                                                   "org.bluez.GattCharacteristic1",
                                                   "org.bluez.Battery1",
                                                   "org.freedesktop.DBus.Properties",
                                                   ""};

struct Property {
  const char* name;
  const char* type;
};
constexpr std::array<Property, 11> properties = {
    Property{"Powered", "b"},          {"Name", "s"},  {"Connected", "b"}, {"RSSI", "n"},
    Property{"ServicesResolved", "b"}, {"UUID", "s"},  {"Primary", "b"},   {"Value", "ay"},
    Property{"Percentage", "y"},       {"Alias", "s"}, {"", "s"}};

constexpr std::array<const char*, 14> types = {"b", "s", "y",     "n",      "ay", "as", "o",
                                               "t", "d", "a{sv}", "(y(s))", "v",  "g",  "aay"};

sd_bus* busToNowhere() {
  static sd_bus* const bus = [] {
    std::array<int, 2> ends{};
    sd_bus* made = nullptr;
    expect(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0 && sd_bus_new(&made) >= 0 &&
               sd_bus_set_fd(made, ends[0], ends[0]) >= 0 && sd_bus_start(made) >= 0,
           "no bus");
    return made;
  }();
  return bus;
}

std::string textOf(Choices& choices) {
  const std::size_t kind = choices.below(4);
  if (kind == 0) return interfaces[choices.below(interfaces.size())];
  if (kind == 1) return std::string(oracle::everyService()[choices.below(12)]);
  std::string text = oracle::repaired(choices.text(choices.below(40)));
  std::erase(text, '\0');
  return text;
}

// The end of the complete type that begins at the place.
std::size_t endOfType(std::string_view type, std::size_t place) {
  if (type[place] == 'a') return endOfType(type, place + 1);
  if (type[place] != '(' && type[place] != '{') return place + 1;
  for (++place; type[place] != ')' && type[place] != '}';) place = endOfType(type, place);
  return place + 1;
}

class Writer {
 public:
  Writer(sd_bus_message* message, Choices& choices) : message_(message), choices_(choices) {}

  // Writes a value for each type of a sequence of complete types.
  void put(const std::string& sequence) {
    for (std::size_t place = 0; place < sequence.size();) {
      const std::size_t end = endOfType(sequence, place);
      putOne(sequence.substr(place, end - place));
      place = end;
    }
  }

 private:
  void putOne(const std::string& type) {
    if (type == "ay") return putBytes();
    if (type == "{sv}") return putProperty();
    if (type == "v") return putVariant(anyType());
    if (type[0] == 'a') return putArray(type.substr(1));
    if (type[0] == '{' || type[0] == '(') {
      const std::string members = type.substr(1, type.size() - 2);
      return within(type[0] == '{' ? 'e' : 'r', members, [&] { put(members); });
    }
    putBasic(type[0]);
  }

  template <class Inside>
  void within(char kind, const std::string& contents, const Inside& inside) {
    ++depth_;
    check(sd_bus_message_open_container(message_, kind, contents.c_str()));
    inside();
    check(sd_bus_message_close_container(message_));
    --depth_;
  }

  void putArray(const std::string& element) {
    within('a', element, [&] {
      const std::size_t count = choices_.below(depth_ < 6 ? 6 : 2);
      for (std::size_t i = 0; i < count && !choices_.atEnd(); ++i) putOne(element);
    });
  }

  void putBytes() {
    auto bytes = choices_.bytes(choices_.byte());
    if (choices_.below(16) == 1) bytes.resize(505 + choices_.below(16));
    check(sd_bus_message_append_array(message_, 'y', bytes.data(), bytes.size()));
  }

  void putProperty() {
    within('e', "sv", [&] {
      const Property& property = properties[choices_.below(properties.size())];
      check(sd_bus_message_append_basic(message_, 's', property.name));
      const bool isRight = choices_.below(8) != 1;
      putVariant(isRight ? property.type : anyType());
    });
  }

  // Limits the nesting: D-Bus allows 64 levels.
  const char* anyType() { return types[choices_.below(depth_ < 8 ? types.size() : 7)]; }

  void putVariant(const std::string& type) {
    const int levels = type == "s" ? 1 : 2;
    level_ += levels;
    within('v', type, [&] { put(type); });
    level_ -= levels;
  }

  // The text of a property may have noncharacters: BlueZ passes them on, and sd-bus refuses to
  // write them in the usual way. Texts nested deeper never have them in BlueZ.
  void putText(const std::string& text) {
    if (level_ == 1) {
      char* place = nullptr;
      check(sd_bus_message_append_string_space(message_, text.size(), &place));
      std::ranges::copy(text, place);
    } else if (sd_bus_message_append_basic(message_, 's', text.c_str()) < 0) {
      check(sd_bus_message_append_basic(message_, 's', ""));
    }
  }

  void putBasic(char type) {
    if (type == 's') {
      putText(textOf(choices_));
    } else if (type == 'o') {
      check(sd_bus_message_append_basic(message_, type, makePath(choices_).c_str()));
    } else if (type == 'g') {
      check(sd_bus_message_append_basic(message_, type, "a{sv}"));
    } else if (type == 'b') {
      const int value = choices_.flag() ? 1 : 0;
      check(sd_bus_message_append_basic(message_, type, &value));
    } else {
      std::array<std::uint8_t, 8> value{choices_.byte(), choices_.byte()};
      check(sd_bus_message_append_basic(message_, type, value.data()));
    }
  }

  static void check(int result) { expect(result >= 0, "the message cannot be made"); }

  sd_bus_message* message_;
  Choices& choices_;
  int depth_ = 0;
  int level_ = 0;  // 1: the text of a property; more: nested deeper
};

}  // namespace

void append(sd_bus_message* message, const std::string& signature, Choices& choices) {
  Writer(message, choices).put(signature);
}

Message makeMessage(Choices& choices, const std::string& signature) {
  sd_bus_message* made = nullptr;
  expect(sd_bus_message_new_signal(busToNowhere(), &made, makePath(choices).c_str(),
                                   "org.example.I", "Signal") >= 0,
         "no message");
  Message message(made);
  append(made, signature, choices);
  expect(sd_bus_message_seal(made, 1, 0) >= 0 && sd_bus_message_rewind(made, 1) >= 0, "no seal");
  return message;
}

std::string makePath(Choices& choices) {
  constexpr std::array<const char*, 8> parts = {"org",         "bluez",    "hci0", "dev_AA_BB",
                                                "service0001", "char00fF", "char", "_"};
  std::string path;
  for (std::size_t count = choices.below(8); count > 0; --count) {
    path += "/" + std::string(parts[choices.below(parts.size())]);
  }
  return path.empty() ? "/" : path;
}

std::string makeSignature(Choices& choices) {
  constexpr std::array<const char*, 10> signatures = {
      "a{oa{sa{sv}}}",  "oa{sa{sv}}", "oas",  "sa{sv}as", "ay", "v", "",
      "a{oa{sa{sv}}}s", "s",          "a{sv}"};
  return signatures[choices.below(signatures.size())];
}

}  // namespace fuzz
