// The receiving end of a subscription made with AcquireNotify: a sequenced-packet socket that
// carries one value per packet, straight from bluetoothd. Main thread only.
#pragma once

#include <functional>

#include "platform/bluez/Descriptor.h"
#include "platform/bluez/Poller.h"

namespace platform::shared {
class ValueTarget;
}

namespace platform::bluez {

class Loop;

class NotifySocket final : public Poller::Source {
 public:
  using OnEnd = std::function<void()>;

  // Values go to the target, through the loop's delivery queue. onEnd is called when the link, the
  // characteristic or bluetoothd is gone; it may destroy the socket.
  NotifySocket(Loop& loop, Descriptor socket, shared::ValueTarget& target, OnEnd onEnd);
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  // Receives the values that have come and closes the socket, by which the subscription ends.
  ~NotifySocket() override;

  int descriptor() const { return socket_.get(); }

  // Receives the values that have come.
  void handle(short events) override;

 private:
  // Receives values, and returns how many, at most PacketBatch::kSize. events: as reported by
  // poll().
  int receive(short events);
  // Whether more values than one may wait.
  bool isBehind();
  short pollEvents() const;

  Loop& loop_;
  Descriptor socket_;
  shared::ValueTarget& target_;
  OnEnd onEnd_;
  unsigned times_ = 0;  // that one value, or all, were asked for
};

}  // namespace platform::bluez
