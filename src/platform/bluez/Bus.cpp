#include "platform/bluez/Bus.h"

#include <charconv>
#include <cstring>
#include <string_view>

namespace platform::bluez {

namespace {

// BlueZ passes the device's error on in words: "Operation failed with ATT error: 0x0e".
int attErrorIn(std::string_view message) {
  constexpr std::string_view kMark = "ATT error: 0x";
  const std::size_t at = message.find(kMark);
  if (at == std::string_view::npos) return 0;
  const std::string_view digits = message.substr(at + kMark.size(), 2);
  int code = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
  return code;
}

}  // namespace

Bus::Bus() {
  sd_bus* bus = nullptr;
  if (sd_bus_open_system(&bus) < 0) return;
  bus_.reset(bus);
  // Also for calls that sd-bus makes by itself.
  sd_bus_set_method_call_timeout(bus, Call::kNoLimit);
}

bool Bus::isFromStack(sd_bus_message* message) const {
  const char* sender = sd_bus_message_get_sender(message);
  return sender != nullptr && !stackOwner_.empty() && stackOwner_ == sender;
}

Message Bus::method(const std::string& path, const char* interface, const char* member) const {
  sd_bus_message* message = nullptr;
  if (bus_ == nullptr || sd_bus_message_new_method_call(bus_.get(), &message, kStackName,
                                                        path.c_str(), interface, member) < 0) {
    return nullptr;
  }
  sd_bus_message_set_auto_start(message, 0);
  return Message(message);
}

Message Bus::property(const std::string& path, const char* interface, const char* name) const {
  Message message = method(path, kPropertiesInterface, "Get");
  if (message != nullptr) sd_bus_message_append(message.get(), "ss", interface, name);
  return message;
}

void Call::start(const Bus& bus, const Message& call, OnReply onReply) {
  cancel();
  if (bus.get() == nullptr || call == nullptr) return;
  sd_bus_slot* slot = nullptr;
  if (sd_bus_call_async(bus.get(), &slot, call.get(), handleReply, this, kNoLimit) < 0) {
    return;
  }
  slot_.reset(slot);
  onReply_ = std::move(onReply);
}

// Any property would do. The standard Ping would not: BlueZ's D-Bus library answers it by itself,
// before BlueZ has had a turn.
void Call::startRoundTrip(const Bus& bus, const std::string& devicePath,
                          std::function<void()> onBack) {
  start(bus, bus.property(devicePath, kDeviceInterface, "Connected"),
        [onBack = std::move(onBack)](sd_bus_message* /*reply*/) { onBack(); });
}

void Call::cancel() {
  slot_.reset();
  onReply_ = nullptr;
}

int Call::handleReply(sd_bus_message* reply, void* call, sd_bus_error* /*error*/) {
  // Both are moved out of the object first: onReply may start the next call, or destroy the object.
  Call& self = *static_cast<Call*>(call);
  const Slot slot = std::move(self.slot_);
  const OnReply onReply = std::move(self.onReply_);
  self.onReply_ = nullptr;
  onReply(reply);
  return 0;
}

Match::Match(const Bus& bus, const std::string& rule, OnSignal onSignal)
    : onSignal_(std::move(onSignal)) {
  sd_bus_slot* slot = nullptr;
  if (bus.get() != nullptr &&
      sd_bus_add_match_async(bus.get(), &slot, rule.c_str(), handleSignal, nullptr, this) >= 0) {
    slot_.reset(slot);
  }
}

int Match::handleSignal(sd_bus_message* signal, void* match, sd_bus_error* /*error*/) {
  static_cast<Match*>(match)->onSignal_(signal);
  return 0;
}

std::string propertiesChangedRule(const char* pathKey, const std::string& path,
                                  const char* interface) {
  std::string rule = "type='signal',sender='org.bluez',member='PropertiesChanged',interface='";
  rule += kPropertiesInterface;
  rule += "',";
  rule += pathKey;
  rule += "='" + path + "',arg0='" + interface + "'";
  return rule;
}

bool isAccessDenied(sd_bus_message* reply) {
  return sd_bus_message_is_method_error(reply, SD_BUS_ERROR_ACCESS_DENIED) > 0;
}

Error errorOf(sd_bus_message* reply) {
  const sd_bus_error* error = sd_bus_message_get_error(reply);
  if (error == nullptr) return Error{SD_BUS_ERROR_FAILED, 0, "The reply makes no sense"};
  const std::string_view message = error->message != nullptr ? error->message : "";
  return Error{error->name, attErrorIn(message), std::string(message)};
}

}  // namespace platform::bluez
