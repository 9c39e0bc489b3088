// The main thread's event loop, and what everything in this folder shares: the connection to the
// bus, the delivery queue, the timers. Each turn waits for the first event.
//
// Receiving is separate from delivering: each turn first receives what has come, whether or not
// callbacks may be made, and then makes the callbacks that may be made.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "platform/bluez/Bus.h"
#include "platform/bluez/Gate.h"
#include "platform/bluez/PacketBatch.h"
#include "platform/bluez/Poller.h"
#include "platform/bluez/WakeUp.h"
#include "platform/shared/DeliveryQueue.h"
#include "platform/shared/Mailbox.h"

namespace platform::bluez {

class NotifySocket;
class Timer;

class Loop {
 public:
  using OnBusLost = std::function<void()>;

  explicit Loop(std::unique_ptr<Clock> clock) : poller_(std::move(clock)) {}
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  // Gives access to the bus, and notes that it was used: a call may have read messages from the
  // descriptor already, so the loop has to check for those before it waits.
  Bus& useBus() {
    isBusInUse_ = true;
    return bus_;
  }
  shared::DeliveryQueue& deliveries() { return deliveries_; }
  Gate& gate() { return gate_; }
  shared::Mailbox& mailbox() { return mailbox_; }
  PacketBatch& packets() { return packets_; }

  Clock& clock() { return poller_.clock(); }

  void runUntil(Clock::TimePoint end);

  // Drops all waiting deliveries and closes the bus. Nothing is served afterwards.
  void close();

  // Sets what is called, once, when the connection to the bus is lost. Replaces an earlier one.
  void setOnBusLost(OnBusLost onBusLost) { onBusLost_ = std::move(onBusLost); }

 private:
  friend class NotifySocket;
  friend class Timer;

  void add(NotifySocket& socket);
  void remove(NotifySocket& socket);
  void watch(NotifySocket& socket);
  void add(Timer& timer);
  void remove(Timer& timer);

  // Remembers that the bus is ready until the sockets have been handled.
  struct BusSource final : Poller::Source {
    void handle(short) override { isReady = true; }

    bool isReady = false;
  };

  bool turn(Clock::TimePoint end);
  bool wait(Clock::TimePoint end);
  void decideWhetherToReceive();
  void watchBus();
  void closeBus();
  Clock::TimePoint nextDeadline(Clock::TimePoint end) const;
  void serveBus();
  void runTimers();
  void deliver();

  Poller poller_;
  Bus bus_;
  BusSource busSource_;
  bool isBusInUse_ = true;
  bool isBusDue_ = false;  // the bus has to be served at once
  shared::DeliveryQueue deliveries_;
  Gate gate_{poller_};
  shared::Mailbox mailbox_{[this] { wakeUp_.ring(); }};
  WakeUp wakeUp_{poller_, mailbox_};
  PacketBatch packets_;
  OnBusLost onBusLost_;
  std::vector<Timer*> timers_;
  std::vector<NotifySocket*> sockets_;
  bool isReceiving_ = true;  // values and messages
};

// Calls back once, after a time. Main thread only.
class Timer {
 public:
  using OnDue = std::function<void()>;

  Timer(Loop& loop, OnDue onDue) : loop_(loop), onDue_(std::move(onDue)) {}
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;
  ~Timer() { stop(); }

  // Starts anew when it is running.
  void start(std::chrono::milliseconds delay);
  void stop();
  bool isRunning() const { return isRunning_; }

 private:
  friend class Loop;

  Loop& loop_;
  OnDue onDue_;
  Clock::TimePoint due_;
  bool isRunning_ = false;
};

}  // namespace platform::bluez
