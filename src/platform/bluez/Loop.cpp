#include "platform/bluez/Loop.h"

#include <algorithm>
#include <cerrno>

#include "platform/bluez/NotifySocket.h"

namespace platform::bluez {

namespace {

constexpr std::size_t kInbox = 0;
constexpr std::size_t kGate = 1;
constexpr std::size_t kBus = 2;
constexpr std::size_t kFirstSocket = 3;

// How much one turn does of one kind before the others are looked after: a socket holds some 270
// values, and must not fill up while a long queue is delivered.
constexpr int kDeliveriesPerTurn = 16;
constexpr int kMessagesPerTurn = 64;

// sd-bus counts in microseconds of the monotonic clock, which is the steady clock here.
Loop::Clock::time_point fromBusTime(std::uint64_t microseconds) {
  return Loop::Clock::time_point(std::chrono::microseconds(microseconds));
}

}  // namespace

void Loop::runUntil(Clock::time_point end) {
  do {
    turn(end);
  } while (Clock::now() < end);
}

void Loop::close() {
  deliveries_.close();
  bus_.close();
}

void Loop::turn(Clock::time_point end) {
  const bool isReceiving = !deliveries_.isFull();
  arrange(isReceiving);
  wait(Clock::now(), end);
  if (polled_[kInbox].revents != 0) inbox_.run();
  if (gate_.awaited() >= 0) gate_.answer(polled_[kGate].revents);
  if (isReceiving) {
    receiveValues();
    serveBus();
  }
  runTimers();
  deliver();
}

// What is held has a bound. At the bound nothing is received any more, neither values nor
// messages: bluetoothd then drops values (a socket holds some 270), the D-Bus daemon queues.
void Loop::arrange(bool isReceiving) {
  std::erase(sockets_, nullptr);
  polled_.resize(kFirstSocket + sockets_.size());
  polled_[kInbox] = {inbox_.descriptor(), POLLIN, 0};
  polled_[kGate] = {gate_.awaited(), POLLOUT, 0};
  polled_[kBus] = {-1, 0, 0};
  if (isReceiving && bus_.get() != nullptr) {
    const int events = sd_bus_get_events(bus_.get());
    polled_[kBus] = {sd_bus_get_fd(bus_.get()), static_cast<short>(std::max(events, 0)), 0};
  }
  for (std::size_t i = 0; i < sockets_.size(); ++i) {
    polled_[kFirstSocket + i] = {isReceiving ? sockets_[i]->descriptor() : -1, POLLIN, 0};
  }
}

void Loop::wait(Clock::time_point now, Clock::time_point end) {
  using std::chrono::nanoseconds;
  const bool isIdle = deliveries_.isEmpty() || gate_.awaited() >= 0;
  const nanoseconds delay =
      isIdle ? std::max(nanoseconds(nextDeadline(end) - now), nanoseconds(0)) : nanoseconds(0);
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(delay);
  const timespec limit{static_cast<time_t>(seconds.count()),
                       static_cast<long>((delay - seconds).count())};
  if (ppoll(polled_.data(), polled_.size(), &limit, nullptr) <= 0) {
    for (pollfd& entry : polled_) entry.revents = 0;
  }
}

Loop::Clock::time_point Loop::nextDeadline(Clock::time_point end) const {
  Clock::time_point next = end;
  for (const Timer* timer : timers_) next = std::min(next, timer->due_);
  std::uint64_t busTime = UINT64_MAX;
  if (bus_.get() != nullptr && polled_[kBus].fd >= 0 &&
      sd_bus_get_timeout(bus_.get(), &busTime) >= 0 && busTime != UINT64_MAX) {
    next = std::min(next, fromBusTime(busTime));
  }
  return next;
}

void Loop::receiveValues() {
  // A socket that ends may take others with it: those are null by then.
  for (std::size_t i = kFirstSocket; i < polled_.size(); ++i) {
    NotifySocket* socket = sockets_[i - kFirstSocket];
    if (polled_[i].revents != 0 && socket != nullptr) socket->handle(polled_[i].revents);
  }
}

void Loop::serveBus() {
  if (bus_.get() == nullptr) return;
  std::uint64_t busTime = UINT64_MAX;
  const bool isDue = sd_bus_get_timeout(bus_.get(), &busTime) >= 0 && busTime != UINT64_MAX &&
                     fromBusTime(busTime) <= Clock::now();
  if (polled_[kBus].revents == 0 && !isDue) return;
  // A socket that is new may hold values already: older than what the bus tells next.
  const std::size_t sockets = sockets_.size();
  int served = 1;
  for (int i = 0; i < kMessagesPerTurn && served > 0 && sockets_.size() == sockets; ++i) {
    served = sd_bus_process(bus_.get(), nullptr);
  }
  if (served >= 0) return;
  bus_.close();
  if (onBusLost_) onBusLost_();
}

void Loop::runTimers() {
  if (timers_.empty()) return;
  // Each may start or stop others, so the search starts anew after each.
  const Clock::time_point now = Clock::now();
  const auto isDue = [now](const Timer* timer) { return timer->due_ <= now; };
  for (auto due = std::ranges::find_if(timers_, isDue); due != timers_.end();
       due = std::ranges::find_if(timers_, isDue)) {
    Timer& timer = **due;
    timer.stop();
    timer.onDue_();
  }
}

void Loop::deliver() {
  for (int i = 0; i < kDeliveriesPerTurn && !deliveries_.isEmpty() && gate_.admits(); ++i) {
    deliveries_.deliverNext();
  }
}

void Loop::add(NotifySocket& socket) {
  sockets_.push_back(&socket);
}

void Loop::remove(NotifySocket& socket) {
  std::ranges::replace(sockets_, &socket, static_cast<NotifySocket*>(nullptr));
}

void Loop::add(Timer& timer) {
  timers_.push_back(&timer);
}

void Loop::remove(Timer& timer) {
  std::erase(timers_, &timer);
}

void Timer::start(std::chrono::milliseconds delay) {
  stop();
  due_ = Loop::Clock::now() + delay;
  isRunning_ = true;
  loop_.add(*this);
}

void Timer::stop() {
  if (isRunning_) loop_.remove(*this);
  isRunning_ = false;
}

}  // namespace platform::bluez
