#include "platform/shared/Mailbox.h"

#include <utility>

namespace platform::shared {

void Mailbox::post(Action action) {
  const std::lock_guard lock(mutex_);
  posted_.push_back(std::move(action));
  if (posted_.size() == 1) wake_();
}

void Mailbox::serve() {
  std::vector<Action> posted;
  {
    const std::lock_guard lock(mutex_);
    posted.swap(posted_);
  }
  for (const Action& action : posted) action();
}

}  // namespace platform::shared
