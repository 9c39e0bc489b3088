#include "platform/bluez/Inbox.h"

#include <poll.h>
#include <sys/eventfd.h>

namespace platform::bluez {

Inbox::Inbox(Poller& poller) : wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  poller.watch(wakeUp_.get(), *this, POLLIN);
}

void Inbox::post(Action action) {
  const std::lock_guard lock(mutex_);
  if (posted_.empty()) eventfd_write(wakeUp_.get(), 1);
  posted_.push_back(std::move(action));
}

void Inbox::handle(short /*events*/) {
  std::vector<Action> posted;
  {
    const std::lock_guard lock(mutex_);
    if (posted_.empty()) return;
    eventfd_t ignored = 0;
    eventfd_read(wakeUp_.get(), &ignored);
    posted.swap(posted_);
  }
  for (const Action& action : posted) action();
}

}  // namespace platform::bluez
