// What the parts of this platform share. Main thread.
#pragma once

#include "platform/corebluetooth/Delivery.h"
#include "platform/corebluetooth/MainLoop.h"
#include "platform/shared/Mailbox.h"

namespace platform::corebluetooth {

class Central;

struct MainThread {
  MainLoop loop;
  shared::Mailbox mailbox{[this] { loop.wake(); }};
  Delivery delivery{loop};
  Central* central = nullptr;  // the one manager, if it exists
};

}  // namespace platform::corebluetooth
