// The callbacks that are due, in order. What the air brings is kept here, whether the reader of the
// bridge's output is ready or not; the run loop makes the callbacks one by one. Main thread.
//
// Two batches take turns, one being filled while the other is delivered, so that a value in
// delivery stays where it is and a steady stream allocates nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/Platform.h"

namespace platform::simulated {

class Characteristic;

class Inbox {
 public:
  using Call = std::function<void()>;

  void post(Call call);

  // Copies the value. False when the memory for values is full; the value was not taken then.
  bool postValue(Characteristic& characteristic, Value value);

  bool empty() const;
  void deliverNext();  // not empty

 private:
  struct Entry {
    Call call;  // empty for a value
    Characteristic* characteristic = nullptr;
    std::size_t length = 0;
  };
  struct Batch {
    std::vector<Entry> entries;
    std::vector<std::uint8_t> bytes;
    std::size_t nextEntry = 0;
    std::size_t nextByte = 0;

    bool done() const { return nextEntry == entries.size(); }
    void clear();
  };

  Batch filling_;
  Batch delivering_;
  std::size_t held_ = 0;  // bytes of memory that the values not yet delivered take
};

}  // namespace platform::simulated
