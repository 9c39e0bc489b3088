#include "platform/bluez/Loop.h"

#include <poll.h>

#include <algorithm>

#include "platform/bluez/NotifySocket.h"

namespace platform::bluez {

namespace {

// How much of one kind a turn handles before the other kinds: a socket holds only some 270 values,
// and must not fill up while a long queue is delivered.
constexpr int kDeliveriesPerTurn = 16;
constexpr int kMessagesPerTurn = 64;

}  // namespace

void Loop::runUntil(Clock::TimePoint end) {
  while (!turn(end) || clock().now() < end) {
  }
}

void Loop::close() {
  deliveries_.close();
  closeBus();
}

// True when the end, or the time of a timer, has come.
bool Loop::turn(Clock::TimePoint end) {
  decideWhetherToReceive();
  watchBus();
  const bool isTime = wait(end);
  if (isReceiving_ && (busSource_.isReady || isTime)) serveBus();
  if (isTime) runTimers();
  deliver();
  return isTime;
}

bool Loop::wait(Clock::TimePoint end) {
  const Clock::TimePoint deadline = nextDeadline(end);
  const bool isIdle = !gate_.opens() || deliveries_.isEmpty();
  return isIdle ? poller_.waitUntil(deadline) : poller_.look(deadline);
}

// When the delivery queue is full nothing is received any more, neither values nor messages. Then
// bluetoothd drops values once a socket is full (at some 270), and the D-Bus daemon queues
// messages.
void Loop::decideWhetherToReceive() {
  const bool isReceiving = !deliveries_.isFull();
  if (isReceiving == isReceiving_) return;
  isReceiving_ = isReceiving;
  isBusInUse_ = true;
  for (NotifySocket* socket : sockets_) watch(*socket);
}

// Asks sd-bus what to wait for only when that may have changed: values from sockets do not change
// it.
void Loop::watchBus() {
  busSource_.isReady = false;
  if (!isBusInUse_) return;
  isBusInUse_ = false;
  isBusDue_ = false;
  if (bus_.get() == nullptr) return;
  const int events = isReceiving_ ? sd_bus_get_events(bus_.get()) : 0;
  poller_.watch(sd_bus_get_fd(bus_.get()), busSource_, static_cast<short>(std::max(events, 0)));
  std::uint64_t time = UINT64_MAX;
  if (isReceiving_) sd_bus_get_timeout(bus_.get(), &time);
  // The bus is due at once if it has received messages that are not handled yet, or if it has
  // failed, which serving it shows. Its own time-outs are not used.
  isBusDue_ = events < 0 || time == 0;
}

Clock::TimePoint Loop::nextDeadline(Clock::TimePoint end) const {
  Clock::TimePoint next = isBusDue_ ? Clock::TimePoint() : end;
  for (const Timer* timer : timers_) next = std::min(next, timer->due_);
  return next;
}

void Loop::serveBus() {
  if (bus_.get() == nullptr) return;
  isBusInUse_ = true;
  // A new socket may already hold values, which are older than the next messages of the bus.
  const std::size_t sockets = sockets_.size();
  int served = 1;
  for (int i = 0; i < kMessagesPerTurn && served > 0 && sockets_.size() == sockets; ++i) {
    served = sd_bus_process(bus_.get(), nullptr);
  }
  if (served >= 0) return;
  closeBus();
  if (onBusLost_) onBusLost_();
}

void Loop::runTimers() {
  // A timer may start or stop others, so the search begins again after each one.
  const Clock::TimePoint now = clock().now();
  const auto isDue = [now](const Timer* timer) { return timer->due_ <= now; };
  for (auto due = std::ranges::find_if(timers_, isDue); due != timers_.end();
       due = std::ranges::find_if(timers_, isDue)) {
    Timer& timer = **due;
    timer.stop();
    timer.onDue_();
  }
}

void Loop::deliver() {
  for (int i = 0; i < kDeliveriesPerTurn && !deliveries_.isEmpty() && gate_.opens(); ++i) {
    deliveries_.deliverNext();
  }
}

void Loop::closeBus() {
  if (bus_.get() != nullptr) poller_.watch(sd_bus_get_fd(bus_.get()), busSource_, 0);
  bus_.close();
}

void Loop::add(NotifySocket& socket) {
  sockets_.push_back(&socket);
  watch(socket);
}

void Loop::remove(NotifySocket& socket) {
  poller_.watch(socket.descriptor(), socket, 0);
  std::erase(sockets_, &socket);
}

void Loop::watch(NotifySocket& socket) {
  poller_.watch(socket.descriptor(), socket, isReceiving_ ? POLLIN : 0);
}

void Loop::add(Timer& timer) {
  timers_.push_back(&timer);
}

void Loop::remove(Timer& timer) {
  std::erase(timers_, &timer);
}

void Timer::start(std::chrono::milliseconds delay) {
  stop();
  due_ = loop_.clock().now() + delay;
  isRunning_ = true;
  loop_.add(*this);
}

void Timer::stop() {
  if (isRunning_) loop_.remove(*this);
  isRunning_ = false;
}

}  // namespace platform::bluez
