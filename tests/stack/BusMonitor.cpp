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

BusMonitor::BusMonitor() {
  sd_bus* bus = nullptr;
  check(sd_bus_new(&bus));
  bus_.reset(bus);
  check(sd_bus_set_address(bus, "unix:path=/run/dbus/system_bus_socket"));
  check(sd_bus_set_bus_client(bus, 1));
  check(sd_bus_set_monitor(bus, 1));
  check(sd_bus_start(bus));
  check(sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus.Monitoring", "BecomeMonitor", nullptr, nullptr,
                           "asu", 2, "type='error',sender='org.bluez'",
                           "type='method_call',interface='org.bluez.Device1',member='Connect'", 0));
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

bool BusMonitor::waitFor(IsMeant isMeant, Limit limit) {
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
