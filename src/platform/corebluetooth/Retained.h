// Owns an Objective-C object. The layer is compiled without automatic reference counting, so that
// the code is the same with every runtime.
#pragma once

#import <Foundation/Foundation.h>

#include <utility>

namespace platform::corebluetooth {

// One reference to an object, or to none. Object is the pointer type: Retained<NSData*>.
template <class Object>
class Retained {
 public:
  explicit Retained(Object object) : object_([object retain]) {}
  Retained(const Retained& other) : Retained(other.object_) {}
  Retained(Retained&& other) noexcept : object_(std::exchange(other.object_, nil)) {}
  Retained& operator=(Retained other) {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Retained() { [object_ release]; }

  Object get() const { return object_; }

  // Takes over the reference that alloc and init, or new, returned.
  static Retained adopt(Object object) {
    Retained retained(nil);
    retained.object_ = object;
    return retained;
  }

 private:
  Object object_;
};

}  // namespace platform::corebluetooth
