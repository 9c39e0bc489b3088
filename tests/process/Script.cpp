#include "Script.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace process_test {
namespace {

using namespace platform::simulated;
using AirPlatform = platform::simulated::Platform;
using platform::CBManagerState;
using platform::CBUUID;

template <class Result>
Result orElse(const std::optional<Result>& result, std::string_view text) {
  if (!result) throw std::invalid_argument("not understood: " + std::string(text));
  return *result;
}

CBUUID identifier(std::string_view text) {
  return orElse(CBUUID::parse(text), text);
}

std::size_t number(std::string_view text) {
  std::size_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size() || error != std::errc()) {
    throw std::invalid_argument("no number: " + std::string(text));
  }
  return value;
}

Bytes bytes(std::string_view hex) {
  Bytes result;
  for (; !hex.empty(); hex.remove_prefix(2)) {
    std::uint8_t byte = 0;
    const auto [end, error] = std::from_chars(hex.data(), hex.data() + 2, byte, 16);
    if (hex.size() < 2 || end != hex.data() + 2) throw std::invalid_argument("no bytes");
    result.push_back(byte);
  }
  return result;
}

CBManagerState state(std::string_view name) {
  static const std::map<std::string_view, CBManagerState> states{
      {"unknown", CBManagerState::unknown},         {"resetting", CBManagerState::resetting},
      {"unsupported", CBManagerState::unsupported}, {"unauthorized", CBManagerState::unauthorized},
      {"poweredOff", CBManagerState::poweredOff},   {"poweredOn", CBManagerState::poweredOn}};
  return states.at(name);
}

// The parts before and after the first separator; without one the second part is empty.
std::pair<std::string_view, std::string_view> divide(std::string_view text, char separator) {
  const std::size_t place = text.find(separator);
  if (place == std::string_view::npos) return {text, {}};
  return {text.substr(0, place), text.substr(place + 1)};
}

// A value that begins with its number, least significant byte first.
Bytes numbered(std::size_t place, std::size_t size) {
  Bytes value(size);
  for (std::size_t i = 0; i < 4; ++i) value.at(i) = static_cast<std::uint8_t>(place >> (8 * i));
  return value;
}

struct Source {
  bool notify(const Bytes& value) const { return device->notify(*characteristic, value); }

  Device* device;
  DeviceCharacteristic* characteristic;
};

// Sends value after value for as long as the characteristic is subscribed.
struct Repetition {
  void operator()() {
    if (place == total || !source.characteristic->isSubscribed()) return;
    const bool taken = source.notify(value(place));  // otherwise it is sent again later
    if (taken) ++place;
    air.after(Time{0}, *this);
  }

  AirPlatform& air;
  Source source;
  std::function<Bytes(std::size_t)> value;
  std::size_t total;
  std::size_t place = 0;
};

class Script {
 public:
  explicit Script(AirPlatform& air) : air_(air) {}

  void obey(std::string_view word) {
    using Order = void (Script::*)(std::string_view);
    static const std::map<std::string_view, Order> orders{
        {"pause", &Script::pause},
        {"state", &Script::states},
        {"device", &Script::device},
        {"late", &Script::late},
        {"refuse-services", &Script::refuseServices},
        {"forget-name", &Script::forgetName},
        {"service", &Script::service},
        {"characteristic", &Script::characteristic},
        {"value", &Script::value},
        {"refuse-read", &Script::refuseRead},
        {"refuse-subscription", &Script::refuseSubscription},
        {"send", &Script::send},
        {"stream", &Script::stream},
        {"count", &Script::count},
        {"echo", &Script::echo},
        {"tell", &Script::tell},
    };
    const auto [name, argument] = divide(word, '=');
    const auto order = orders.find(name);
    if (order == orders.end()) throw std::invalid_argument("no such word: " + std::string(word));
    (this->*order->second)(argument);
  }

 private:
  void pause(std::string_view milliseconds) {
    pause_ = std::chrono::milliseconds(number(milliseconds));
  }

  void states(std::string_view names) {
    auto [first, others] = divide(names, ',');
    air_.setState(state(first));
    for (Time time = pause_; !others.empty(); time += pause_) {
      const auto [next, rest] = divide(others, ',');
      air_.at(time, [&air = air_, then = state(next)] { air.setState(then); });
      others = rest;
    }
  }

  void device(std::string_view name) {
    device_ = &air_.addDevice(std::string(name));
    device_->appear();
  }

  void late(std::string_view milliseconds) {
    device_->vanish();
    air_.at(std::chrono::milliseconds(number(milliseconds)),
            [&device = *device_] { device.appear(); });
  }

  void refuseServices(std::string_view) { device_->servicesRefusal = attError(0x0E); }

  void forgetName(std::string_view) {
    device_->onRequest = [&device = *device_](RequestKind kind, const CBUUID*) {
      if (kind == RequestKind::discoverServices) device.setName(std::nullopt);
    };
  }

  void service(std::string_view uuid) { service_ = &device_->addService(identifier(uuid)); }

  void characteristic(std::string_view uuid) {
    characteristic_ = &service_->addCharacteristic(identifier(uuid));
  }

  void value(std::string_view hex) { characteristic_->value = bytes(hex); }
  void refuseRead(std::string_view) { characteristic_->readRefusal = attError(0x02); }
  void refuseSubscription(std::string_view) { characteristic_->subscriptionRefusal = attError(5); }

  void send(std::string_view hex) {
    whenSubscriptionChanges([&air = air_, value = bytes(hex)](Source source, bool enabled) {
      if (enabled) air.after(Time{0}, [=] { source.notify(value); });
    });
  }

  void stream(std::string_view hex) {
    repeatWhenSubscribed([value = bytes(hex)](std::size_t) { return value; }, SIZE_MAX);
  }

  void count(std::string_view argument) {
    const auto [size, total] = divide(argument, ',');
    repeatWhenSubscribed(
        [length = number(size)](std::size_t place) { return numbered(place, length); },
        number(total));
  }

  void echo(std::string_view uuid) {
    characteristic_->onWrite = [&from = *device_, to = identifier(uuid)](platform::Value value) {
      from.notify(from.characteristic(to), value);
      return Refusal();
    };
  }

  void tell(std::string_view uuid) {
    whenSubscriptionChanges([to = identifier(uuid)](Source source, bool enabled) {
      const Bytes value{static_cast<std::uint8_t>(enabled ? 1 : 0)};
      source.device->notify(source.device->characteristic(to), value);
    });
  }

  // Adds an action to those that follow a change of the characteristic's subscription.
  void whenSubscriptionChanges(std::function<void(Source, bool)> action) {
    characteristic_->onSubscribe = [action = std::move(action),
                                    before = characteristic_->onSubscribe,
                                    source = Source{device_, characteristic_}](bool enabled) {
      Refusal refusal = before ? before(enabled) : Refusal();
      action(source, enabled);
      return refusal;
    };
  }

  void repeatWhenSubscribed(std::function<Bytes(std::size_t)> value, std::size_t total) {
    whenSubscriptionChanges(
        [&air = air_, value = std::move(value), total](Source source, bool enabled) {
          if (enabled) air.after(Time{0}, Repetition{air, source, value, total});
        });
  }

  AirPlatform& air_;
  Time pause_ = std::chrono::milliseconds(100);
  Device* device_ = nullptr;
  DeviceService* service_ = nullptr;
  DeviceCharacteristic* characteristic_ = nullptr;
};

}  // namespace

std::unique_ptr<AirPlatform> makeAir(std::span<const char* const> words) {
  const bool isDriven = !words.empty() && words.front() == std::string_view("driven");
  if (isDriven) words = words.subspan(1);
  auto air = std::make_unique<AirPlatform>(isDriven ? TimeMode::driven : TimeMode::real);
  Script script(*air);
  for (const char* word : words) script.obey(word);
  return air;
}

}  // namespace process_test
