#include "platform/bluez/NotifySocket.h"

#include <poll.h>

#include "platform/bluez/Loop.h"
#include "platform/bluez/PacketBatch.h"
#include "platform/shared/DeliveryQueue.h"

namespace platform::bluez {

namespace {

constexpr short kEnd = POLLHUP | POLLERR | POLLNVAL;

// To receive one value is cheaper than to ask for all that wait, and mostly only one does. So only
// every sixteenth time asks for all, to find out whether the bridge lags.
constexpr unsigned kPeriod = 16;

}  // namespace

NotifySocket::NotifySocket(Loop& loop, Descriptor socket, shared::ValueTarget& target, OnEnd onEnd)
    : loop_(loop), socket_(std::move(socket)), target_(target), onEnd_(std::move(onEnd)) {
  loop_.add(*this);
}

NotifySocket::~NotifySocket() {
  loop_.remove(*this);
  while (receive(pollEvents()) > 0) {
  }
}

// A bridge that lags takes all that waits before it delivers more. Taking a value costs less than
// bluetoothd spends on sending it, so on a machine that is too busy values become late, and the
// socket does not fill up.
//
// onEnd destroys this socket; the destructor receives the values that still wait in it.
void NotifySocket::handle(short events) {
  while (receive(events) == PacketBatch::kSize && !loop_.deliveries().isFull()) {
  }
  if ((events & kEnd) == 0) return;
  const OnEnd onEnd = std::move(onEnd_);
  onEnd();
}

// A value of no bytes reads like the end of the connection, which reads so again and again. Without
// a hang-up from poll, it is a value. Where more than one packet is received, empty ones at the end
// may be the end of the connection if there was a hang-up by then.
int NotifySocket::receive(short events) {
  if ((events & POLLIN) == 0) return 0;
  PacketBatch& batch = loop_.packets();
  const bool isOne = (events & kEnd) == 0 && !isBehind();
  int values = isOne ? batch.receiveOne(socket_.get()) : batch.receiveMany(socket_.get());
  const bool mayHaveEnded = !isOne && values > 0 && batch[values - 1].empty();
  if (mayHaveEnded && (pollEvents() & kEnd) != 0) {
    while (values > 0 && batch[values - 1].empty()) --values;
  }
  for (int i = 0; i < values; ++i) loop_.deliveries().push(target_, batch[i]);
  return values;
}

bool NotifySocket::isBehind() {
  return ++times_ % kPeriod == 0 || !loop_.deliveries().isEmpty();
}

short NotifySocket::pollEvents() const {
  pollfd input{socket_.get(), POLLIN, 0};
  poll(&input, 1, 0);
  return input.revents;
}

}  // namespace platform::bluez
