#import "platform/corebluetooth/Mailbox.h"

#import <Foundation/Foundation.h>

#include <utility>

@interface VornixMailbox : NSObject {
 @public
  platform::corebluetooth::Mailbox* owner;  // null once it is gone
}
- (void)serve;
@end

@implementation VornixMailbox

- (void)serve {
  if (owner != nullptr) owner->serve();
}

@end

namespace platform::corebluetooth {

Mailbox::Mailbox() : native_(Retained<VornixMailbox*>::adopt([VornixMailbox new])) {
  native_.get()->owner = this;
}

Mailbox::~Mailbox() {
  native_.get()->owner = nullptr;
}

// Foundation does not promise an order between what two threads hand to the run loop: the queue
// does, and the run loop is only woken for it.
void Mailbox::post(Call call) {
  {
    const std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
  }
  @autoreleasepool {
    [native_.get() performSelectorOnMainThread:@selector(serve) withObject:nil waitUntilDone:NO];
  }
}

void Mailbox::serve() {
  std::deque<Call> calls;
  {
    const std::lock_guard lock(mutex_);
    calls.swap(calls_);
  }
  for (const Call& call : calls) call();
}

}  // namespace platform::corebluetooth
