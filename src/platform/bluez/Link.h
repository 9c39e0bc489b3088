// Brings up the link that was asked for, however often that has to be tried. Main thread only.
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

  // Asks for the link. onUp is called once, when it is up. Asking again while it is asked for
  // changes nothing.
  void want(OnUp onUp);
  bool isWanted() const { return onUp_ != nullptr; }
  void forget() { onUp_ = nullptr; }

  // Something about the device has changed: goes on if there is something to do now.
  void step();

  // BlueZ has no object for the device any more: it never answers a call on it. The device is found
  // again by discovery, which stays on while a link is wanted.
  void deviceDidDisappear();

 private:
  // BlueZ gives up an attempt after 20 to 40 s; then comes a pause, then the next.
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
