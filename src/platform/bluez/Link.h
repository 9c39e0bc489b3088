// Brings up a link that was asked for, with as many attempts as it takes. Main thread only.
#pragma once

#include <functional>

#include "platform/bluez/Bus.h"
#include "platform/bluez/Loop.h"

namespace platform::bluez {

class Peripheral;

class Link {
 public:
  using OnUp = std::function<void()>;

  explicit Link(Peripheral& peripheral);

  // Asks for the link. onUp is called once, when it is up. Asking again before has no effect.
  void want(OnUp onUp);
  bool isWanted() const { return onUp_ != nullptr; }
  void forget() { onUp_ = nullptr; }

  // To be called when something about the device has changed: makes the next attempt if possible.
  void step();

  // BlueZ has removed its object for the device, and will not answer a call on it. Discovery, which
  // stays on while a link is wanted, finds the device again.
  void deviceDidDisappear();

 private:
  // BlueZ gives up an attempt after 20 to 40 s; after a pause the next one is made.
  enum class Phase { idle, attempting, pausing };

  void attempt();
  void handleReply();
  void handleAnswer(sd_bus_message* reply);

  Peripheral& peripheral_;
  OnUp onUp_;
  Phase phase_ = Phase::idle;
  Call call_;
  Timer pause_;
};

}  // namespace platform::bluez
