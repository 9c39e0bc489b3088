// Values as D-Bus signals: a client that subscribes by StartNotify, reads each value from its
// signal and counts it. For each line on standard input it writes the number of that line and the
// count; it ends with its input.
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "BareClient.h"
#include "Stamp.h"

namespace {

using bench::check;

int takeValue(sd_bus_message* signal, void* count, sd_bus_error* /*error*/) {
  check(sd_bus_message_skip(signal, "s"), "interface");
  check(sd_bus_message_enter_container(signal, 'a', "{sv}"), "properties");
  while (check(sd_bus_message_enter_container(signal, 'e', "sv"), "property") > 0) {
    const char* name = nullptr;
    check(sd_bus_message_read_basic(signal, 's', &name), "name");
    if (std::strcmp(name, "Value") != 0) {
      check(sd_bus_message_skip(signal, "v"), "property");
    } else {
      const void* bytes = nullptr;
      std::size_t size = 0;
      check(sd_bus_message_enter_container(signal, 'v', "ay"), "value");
      check(sd_bus_message_read_array(signal, 'y', &bytes, &size), "bytes");
      check(sd_bus_message_exit_container(signal), "value");
      if (size == bench::Stamp::kSize) ++*static_cast<unsigned*>(count);
    }
    check(sd_bus_message_exit_container(signal), "property");
  }
  return 0;
}

}  // namespace

int main() {
  const bench::BareClient client;
  unsigned count = 0;
  unsigned questions = 0;
  const std::string rule = "type='signal',sender='org.bluez',member='PropertiesChanged',path='" +
                           client.characteristic() + "',arg0='" +
                           bench::BareClient::kCharacteristicInterface + "'";
  check(sd_bus_add_match(client.bus(), nullptr, rule.c_str(), takeValue, &count), "match");
  check(sd_bus_call_method(client.bus(), "org.bluez", client.characteristic().c_str(),
                           bench::BareClient::kCharacteristicInterface, "StartNotify", nullptr,
                           nullptr, ""),
        "StartNotify");
  for (;;) {
    while (check(sd_bus_process(client.bus(), nullptr), "bus") > 0) {
    }
    pollfd wanted[]{{sd_bus_get_fd(client.bus()), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    poll(wanted, 2, -1);
    if (wanted[1].revents == 0) continue;
    std::array<char, 64> line;
    if (read(STDIN_FILENO, line.data(), line.size()) <= 0) return 0;
    std::printf("%u %u\n", ++questions, count);
    std::fflush(stdout);
  }
}
