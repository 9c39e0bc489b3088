#include "BusMonitor.h"

#include <chrono>
#include <cstdint>
#include <system_error>

namespace stack {
namespace {

using Clock = std::chrono::steady_clock;

int check(int result) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), "bus monitor");
  return result;
}

}  // namespace

BusMonitor::BusMonitor(const std::vector<std::string>& rules) {
  sd_bus* bus = nullptr;
  check(sd_bus_new(&bus));
  bus_.reset(bus);
  check(sd_bus_set_address(bus, "unix:path=/run/dbus/system_bus_socket"));
  check(sd_bus_set_bus_client(bus, 1));
  check(sd_bus_set_monitor(bus, 1));
  check(sd_bus_start(bus));
  sd_bus_message* made = nullptr;
  check(sd_bus_message_new_method_call(bus, &made, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus.Monitoring", "BecomeMonitor"));
  const std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)> call(made,
                                                                              sd_bus_message_unref);
  check(sd_bus_message_open_container(made, 'a', "s"));
  for (const std::string& rule : rules) check(sd_bus_message_append(made, "s", rule.c_str()));
  check(sd_bus_message_close_container(made));
  check(sd_bus_message_append(made, "u", 0));
  check(sd_bus_call(bus, made, 0, nullptr, nullptr));
}

bool BusMonitor::waitForError(Limit limit) {
  return waitFor([](auto* message) { return sd_bus_message_is_method_error(message, nullptr) > 0; },
                 limit);
}

bool BusMonitor::waitForConnect(Limit limit) {
  return waitFor(
      [](auto* message) { return sd_bus_message_is_method_call(message, nullptr, "Connect") > 0; },
      limit);
}

bool BusMonitor::waitForSocket(const std::string& characteristic, Limit limit) {
  const auto isMeant = [&characteristic](sd_bus_message* message) {
    const char* interface = nullptr;
    const char* property = nullptr;
    return sd_bus_message_is_signal(message, nullptr, "PropertiesChanged") > 0 &&
           sd_bus_message_get_path(message) == characteristic &&
           check(sd_bus_message_read(message, "s", &interface)) > 0 &&
           check(sd_bus_message_enter_container(message, 'a', "{sv}")) > 0 &&
           check(sd_bus_message_enter_container(message, 'e', "sv")) > 0 &&
           check(sd_bus_message_read(message, "s", &property)) > 0 &&
           property == std::string("NotifyAcquired");
  };
  return waitFor(isMeant, limit);
}

bool BusMonitor::waitFor(const IsMeant& isMeant, Limit limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  for (;;) {
    sd_bus_message* message = nullptr;
    const bool isMore = check(sd_bus_process(bus_.get(), &message)) > 0;
    const bool isFound = message != nullptr && isMeant(message);
    sd_bus_message_unref(message);
    if (isFound) return true;
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    if (left <= 0) return false;
    if (!isMore) check(sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(left)));
  }
}

}  // namespace stack
