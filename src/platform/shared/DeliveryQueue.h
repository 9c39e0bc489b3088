// Everything that is to be told to the bridge, in the order in which it happened: values, and
// actions that make any other callback. Main thread only.
//
// Values lie one behind the other in large blocks. In the steady state, where each is delivered
// soon after it came, the same block is used again and again and nothing is allocated.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/Platform.h"

namespace platform::shared {

// The receiver of a value. A target is retained while values for it wait, and released after each.
class ValueTarget {
 public:
  virtual void retain() = 0;
  virtual void release() = 0;
  virtual void deliver(Value value) = 0;

 protected:
  ~ValueTarget() = default;
};

class DeliveryQueue {
 public:
  using Action = std::function<void()>;

  // What is held at most, in bytes, before isFull() holds and nothing more is to be received.
  static constexpr std::size_t kLimit = std::size_t{64} << 20;

  DeliveryQueue() = default;
  DeliveryQueue(const DeliveryQueue&) = delete;
  DeliveryQueue& operator=(const DeliveryQueue&) = delete;
  ~DeliveryQueue() { clear(); }

  // Copies the value. One longer than kLargestValue cannot come from a device, and is dropped.
  void push(ValueTarget& target, Value value);
  void push(Action action);

  bool isEmpty() const { return held_ == 0; }
  bool isFull() const { return held_ >= kLimit; }

  // Takes the oldest out of the queue, then delivers it: what is called may push and may clear.
  // Not to be called when empty.
  void deliverNext();

  // Forgets all that waits.
  void clear();

  // As clear, and from now on forgets whatever is pushed.
  void close();

 private:
  struct Header {
    ValueTarget* target = nullptr;
    Action* action = nullptr;  // owned; null for a value
    std::size_t size = 0;      // of the value, whose bytes follow
  };

  struct Block {
    static constexpr std::size_t kCapacity = (std::size_t{64} << 10) - 64;

    std::unique_ptr<Block> next;
    std::size_t begin = 0;
    std::size_t end = 0;
    std::array<std::byte, kCapacity> bytes;
  };

  static std::size_t lengthOf(const Header& header);
  static std::size_t weightOf(const Header& header);

  std::byte* append(const Header& header);  // where the value's bytes go
  Header takeNext(std::uint8_t* bytes);
  void addBlock();
  void dropFirstBlock();

  std::unique_ptr<Block> first_;
  Block* last_ = nullptr;
  std::size_t held_ = 0;
  bool isClosed_ = false;
};

}  // namespace platform::shared
