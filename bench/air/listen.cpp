// The floor for the benchmark with many advertisers: a client that has connected to its device and
// only receives and parses the signals about all others.
#include <poll.h>
#include <unistd.h>

#include "BareClient.h"

namespace {

using bench::check;

// Reads an array of properties to its end.
void readProperties(sd_bus_message* message) {
  check(sd_bus_message_enter_container(message, 'a', "{sv}"), "properties");
  while (check(sd_bus_message_enter_container(message, 'e', "sv"), "property") > 0) {
    const char* name = nullptr;
    check(sd_bus_message_read_basic(message, 's', &name), "name");
    check(sd_bus_message_skip(message, "v"), "value");
    check(sd_bus_message_exit_container(message), "property");
  }
  check(sd_bus_message_exit_container(message), "properties");
}

int readChange(sd_bus_message* signal, void* /*data*/, sd_bus_error* /*error*/) {
  const char* interface = nullptr;
  check(sd_bus_message_read_basic(signal, 's', &interface), "interface");
  readProperties(signal);
  return 0;
}

int readObject(sd_bus_message* signal, void* /*data*/, sd_bus_error* /*error*/) {
  const char* path = nullptr;
  check(sd_bus_message_read_basic(signal, 'o', &path), "path");
  check(sd_bus_message_enter_container(signal, 'a', "{sa{sv}}"), "interfaces");
  while (check(sd_bus_message_enter_container(signal, 'e', "sa{sv}"), "interface") > 0) {
    const char* interface = nullptr;
    check(sd_bus_message_read_basic(signal, 's', &interface), "interface");
    readProperties(signal);
    check(sd_bus_message_exit_container(signal), "interface");
  }
  return 0;
}

}  // namespace

int main() {
  const bench::BareClient client;
  check(sd_bus_add_match(client.bus(), nullptr,
                         "type='signal',sender='org.bluez',member='PropertiesChanged',"
                         "path_namespace='/org/bluez',arg0='org.bluez.Device1'",
                         readChange, nullptr),
        "match");
  check(sd_bus_add_match(client.bus(), nullptr,
                         "type='signal',sender='org.bluez',member='InterfacesAdded',path='/'",
                         readObject, nullptr),
        "match");
  static_cast<void>(!write(STDOUT_FILENO, "listening\n", 10));
  for (;;) {
    while (check(sd_bus_process(client.bus(), nullptr), "bus") > 0) {
    }
    check(sd_bus_wait(client.bus(), UINT64_MAX), "bus");
  }
}
