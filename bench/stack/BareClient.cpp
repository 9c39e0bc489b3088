#include "BareClient.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {
namespace {

constexpr char kStack[] = "org.bluez";
constexpr char kAdapter[] = "/org/bluez/hci0";
constexpr char kAdapterInterface[] = "org.bluez.Adapter1";
constexpr char kDeviceInterface[] = "org.bluez.Device1";

// The message has to be at the properties of an interface; reads them to their end.
bool hasText(sd_bus_message* message, const char* property, const char* value) {
  bool isFound = false;
  check(sd_bus_message_enter_container(message, 'a', "{sv}"), "properties");
  while (check(sd_bus_message_enter_container(message, 'e', "sv"), "property") > 0) {
    const char* name = nullptr;
    const char* contents = nullptr;
    check(sd_bus_message_read_basic(message, 's', &name), "name");
    check(sd_bus_message_peek_type(message, nullptr, &contents), "type");
    if (std::strcmp(name, property) == 0 && std::strcmp(contents, "s") == 0) {
      const char* text = nullptr;
      check(sd_bus_message_read(message, "v", "s", &text), "text");
      isFound = std::strcmp(text, value) == 0;
    } else {
      check(sd_bus_message_skip(message, "v"), "value");
    }
    check(sd_bus_message_exit_container(message), "property");
  }
  check(sd_bus_message_exit_container(message), "properties");
  return isFound;
}

int ignore(sd_bus_message* /*message*/, void* /*data*/, sd_bus_error* /*error*/) {
  return 0;
}

}  // namespace

int check(int result, const char* what) {
  if (result >= 0) return result;
  std::fprintf(stderr, "%s: %s\n", what, std::strerror(-result));
  std::_Exit(1);
}

BareClient::BareClient() {
  check(sd_bus_open_system(&bus_), "system bus");
  sd_bus_slot* signals = nullptr;
  check(sd_bus_add_match(bus_, &signals, "type='signal',sender='org.bluez'", ignore, nullptr),
        "match");
  call(kAdapter, kAdapterInterface, "StartDiscovery");
  const std::string device = waitFor(kDeviceInterface, "Name", "Tramsel-1");
  call(device, kDeviceInterface, "Connect");
  characteristic_ =
      waitFor(kCharacteristicInterface, "UUID", "ef680408-9b35-4933-9b10-52ffa9740042");
  call(kAdapter, kAdapterInterface, "StopDiscovery");
  sd_bus_slot_unref(signals);
}

void BareClient::call(const std::string& path, const char* interface, const char* member) {
  check(sd_bus_call_method(bus_, kStack, path.c_str(), interface, member, nullptr, nullptr, ""),
        member);
}

// Waits for an object whose property has this text, and returns its path.
std::string BareClient::waitFor(const char* interface, const char* property, const char* value) {
  for (;;) {
    while (check(sd_bus_process(bus_, nullptr), "bus") > 0) {
    }
    std::string path = find(interface, property, value);
    if (!path.empty()) return path;
    check(sd_bus_wait(bus_, UINT64_MAX), "bus");
  }
}

std::string BareClient::find(const char* interface, const char* property, const char* value) {
  std::string found;
  sd_bus_message* reply = nullptr;
  check(sd_bus_call_method(bus_, kStack, "/", "org.freedesktop.DBus.ObjectManager",
                           "GetManagedObjects", nullptr, &reply, ""),
        "GetManagedObjects");
  check(sd_bus_message_enter_container(reply, 'a', "{oa{sa{sv}}}"), "objects");
  while (check(sd_bus_message_enter_container(reply, 'e', "oa{sa{sv}}"), "object") > 0) {
    const char* path = nullptr;
    check(sd_bus_message_read_basic(reply, 'o', &path), "path");
    check(sd_bus_message_enter_container(reply, 'a', "{sa{sv}}"), "interfaces");
    while (check(sd_bus_message_enter_container(reply, 'e', "sa{sv}"), "interface") > 0) {
      const char* name = nullptr;
      check(sd_bus_message_read_basic(reply, 's', &name), "interface");
      if (std::strcmp(name, interface) != 0) {
        check(sd_bus_message_skip(reply, "a{sv}"), "properties");
      } else if (hasText(reply, property, value)) {
        found = path;
      }
      check(sd_bus_message_exit_container(reply), "interface");
    }
    check(sd_bus_message_exit_container(reply), "interfaces");
    check(sd_bus_message_exit_container(reply), "object");
  }
  check(sd_bus_message_exit_container(reply), "objects");
  sd_bus_message_unref(reply);
  return found;
}

}  // namespace bench
