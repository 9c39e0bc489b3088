#include "platform/bluez/WakeUp.h"

#include <poll.h>
#include <sys/eventfd.h>

namespace platform::bluez {

WakeUp::WakeUp(Poller& poller, shared::Mailbox& mailbox)
    : mailbox_(mailbox), event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  poller.watch(event_.get(), *this, POLLIN);
}

void WakeUp::ring() {
  eventfd_write(event_.get(), 1);
}

void WakeUp::handle(short /*events*/) {
  eventfd_t ignored = 0;
  eventfd_read(event_.get(), &ignored);
  mailbox_.serve();
}

}  // namespace platform::bluez
