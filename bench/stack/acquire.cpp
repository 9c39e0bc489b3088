// The floor: the least that a client has to do to read each value from AcquireNotify's socket and
// write it as one line. Values wait in memory while nobody reads the lines.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <deque>

#include "BareClient.h"
#include "Stamp.h"

namespace {

using bench::check;
using Value = bench::Stamp::Bytes;

int acquire(const bench::BareClient& client) {
  sd_bus_message* reply = nullptr;
  check(sd_bus_call_method(client.bus(), "org.bluez", client.characteristic().c_str(),
                           bench::BareClient::kCharacteristicInterface, "AcquireNotify", nullptr,
                           &reply, "a{sv}", 0),
        "AcquireNotify");
  int socket = -1;
  std::uint16_t packetSize = 0;
  check(sd_bus_message_read(reply, "hq", &socket, &packetSize), "socket");
  socket = fcntl(socket, F_DUPFD_CLOEXEC, 0);
  sd_bus_message_unref(reply);
  return socket;
}

bool writeLine(const Value& value) {
  constexpr char digits[] = "0123456789abcdef";
  std::array<char, 2 * sizeof(Value) + 1> line;
  char* place = line.data();
  for (const std::uint8_t byte : value) {
    *place++ = digits[byte >> 4U];
    *place++ = digits[byte & 0x0FU];
  }
  *place = '\n';
  return write(STDOUT_FILENO, line.data(), line.size()) > 0;
}

}  // namespace

int main() {
  const bench::BareClient client;
  const int socket = acquire(client);
  fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
  std::deque<Value> queue;
  for (;;) {
    pollfd wanted[]{{socket, POLLIN, 0},
                    {queue.empty() ? -1 : STDOUT_FILENO, POLLOUT, 0},
                    {sd_bus_get_fd(client.bus()), POLLIN, 0}};
    poll(wanted, 3, -1);
    if (wanted[0].revents != 0) {
      Value value;
      if (recv(socket, value.data(), value.size(), 0) <= 0) return 0;
      queue.push_back(value);
    }
    if (wanted[2].revents != 0) {
      while (check(sd_bus_process(client.bus(), nullptr), "bus") > 0) {
      }
    }
    while (!queue.empty() && writeLine(queue.front())) queue.pop_front();
  }
}
