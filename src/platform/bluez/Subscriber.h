// Makes one subscription: by AcquireNotify, whose socket is the cheapest way for values, and by
// StartNotify where BlueZ does not offer that. Main thread only.
//
// BlueZ up to 5.83 never answers an AcquireNotify that the device refuses. So the wait for the
// answer has a bound, kLimit, after which the subscription counts as refused. The bound is on the
// device alone: it runs only from when BlueZ is known to have read the call, and when it is over,
// BlueZ is given the chance to pass on an answer that it has already.
#pragma once

#include <functional>
#include <optional>

#include "platform/Platform.h"
#include "platform/bluez/Bus.h"
#include "platform/bluez/Loop.h"

namespace platform::bluez {

class Characteristic;

class Subscriber {
 public:
  static constexpr std::chrono::seconds kLimit{5};

  using OnDone = std::function<void(const std::optional<Error>& refusal)>;

  explicit Subscriber(Loop& loop);

  // onDone: the characteristic is subscribed, or the error says why not. Its values are to be let
  // through (Characteristic::begin) when the success has been told.
  void start(Characteristic& characteristic, OnDone onDone);

  void cancel();

 private:
  void acquire();
  void handleAcquired(sd_bus_message* reply);
  void ask(Call::OnReply onReply);
  void waitForDevice();
  void giveUp();
  void startNotify();
  void finish(const std::optional<Error>& refusal);

  Loop& loop_;
  Characteristic* characteristic_ = nullptr;
  OnDone onDone_;
  Call call_;
  Call question_;
  Timer limit_;
};

}  // namespace platform::bluez
