#include "platform/bluez/NotifySocket.h"

#include <poll.h>

#include "platform/bluez/Loop.h"
#include "platform/bluez/PacketBatch.h"
#include "platform/shared/DeliveryQueue.h"

namespace platform::bluez {

namespace {

constexpr short kEnd = POLLHUP | POLLERR | POLLNVAL;

}  // namespace

NotifySocket::NotifySocket(Loop& loop, Descriptor socket, shared::ValueTarget& target, OnEnd onEnd)
    : loop_(loop), socket_(std::move(socket)), target_(target), onEnd_(std::move(onEnd)) {
  loop_.add(*this);
}

NotifySocket::~NotifySocket() {
  loop_.remove(*this);
  while (receive(pollEvents())) {
  }
}

// onEnd destroys this socket; the destructor receives the values that still wait in it.
void NotifySocket::handle(short events) {
  receive(events);
  if ((events & kEnd) == 0) return;
  const OnEnd onEnd = std::move(onEnd_);
  onEnd();
}

// A value of no bytes reads like the end of the connection, which reads so again and again. Without
// a hang-up from poll, it is a value. After a hang-up, all packets are received at once, and empty
// ones at the end may be the end of the connection.
bool NotifySocket::receive(short events) {
  if ((events & POLLIN) == 0) return false;
  PacketBatch& batch = loop_.packets();
  const bool hasHungUp = (events & kEnd) != 0;
  int values = hasHungUp ? batch.receiveMany(socket_.get()) : batch.receiveOne(socket_.get());
  while (hasHungUp && values > 0 && batch[values - 1].empty()) --values;
  for (int i = 0; i < values; ++i) loop_.deliveries().push(target_, batch[i]);
  return values > 0;
}

short NotifySocket::pollEvents() const {
  pollfd input{socket_.get(), POLLIN, 0};
  poll(&input, 1, 0);
  return input.revents;
}

}  // namespace platform::bluez
