// Wakes the main thread to serve its mailbox. ring() may be called on any thread.
#pragma once

#include "platform/bluez/Descriptor.h"
#include "platform/bluez/Poller.h"
#include "platform/shared/Mailbox.h"

namespace platform::bluez {

class WakeUp final : private Poller::Source {
 public:
  WakeUp(Poller& poller, shared::Mailbox& mailbox);

  void ring();

 private:
  // Serves the mailbox.
  void handle(short events) override;

  shared::Mailbox& mailbox_;
  Descriptor event_;
};

}  // namespace platform::bluez
