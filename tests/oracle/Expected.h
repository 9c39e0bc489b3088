// Records what the bridge has to do, in order: the lines that it writes, the calls that it makes on
// the platform, and its end.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace oracle {

using Entries = std::vector<std::string>;
using Bytes = std::vector<std::uint8_t>;

inline constexpr const char* hardStopEntry = "hard stop";
inline constexpr const char* exitEntry = "exit 0";

// Thrown by the model when the process has to end, after the entry for that.
struct Ended {};

class Expected {
 public:
  void log(const std::string& text);
  void message(const std::string& payload);  // a hard stop when it is not ASCII
  void call(const std::string& text) { entries_.push_back(text); }
  [[noreturn]] void hardStop();
  [[noreturn]] void exit();

  Entries take() { return std::exchange(entries_, {}); }

 private:
  Entries entries_;
};

// A device, its services and its characteristics as the model sees them. A label names the object
// in the entries for calls.
struct Device {
  std::string label;
  std::optional<std::string> name;
};

struct Characteristic {
  std::string label;
  std::string_view uuid;
};

struct Service {
  std::string label;
  std::string_view uuid;
  std::optional<std::vector<Characteristic>> characteristics;
};

struct Failure {
  std::string domain;
  int code;
  std::string message;
};

// The result of a service discovery.
struct Discovery {
  std::optional<std::vector<Service>> services;
  std::optional<Failure> failure;
};

std::string printed(const Failure& failure);

// One byte of the value; a hard stop when it does not exist.
int byteAt(Expected& expected, const std::optional<Bytes>& value, std::size_t index);

// The entries for calls on a device.
std::string reading(const Device& device, const Characteristic& characteristic);
std::string notifying(const Device& device, bool enabled, const Characteristic& characteristic);
std::string writing(const Device& device, const Bytes& value, const Characteristic& characteristic);
std::string discoveringServices(const Device& device, const std::vector<std::string_view>& wanted);
std::string discoveringCharacteristics(const Device& device, const Service& service,
                                       const std::vector<std::string_view>& wanted);

}  // namespace oracle
