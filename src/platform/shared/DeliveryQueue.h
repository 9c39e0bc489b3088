// The callbacks that have to be made to the bridge, in order: values, and actions that make any
// other callback. Main thread only.
//
// Values are stored one after the other in large blocks. As long as each is delivered soon after it
// came, the same block is used again and again and nothing is allocated.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/Platform.h"

namespace platform::shared {

// The receiver of a value. It is retained for each value that waits, and released after its
// delivery.
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

  // In bytes. When the queue holds this much isFull() is true, and nothing more should be received.
  static constexpr std::size_t kLimit = std::size_t{64} << 20;

  DeliveryQueue() = default;
  DeliveryQueue(const DeliveryQueue&) = delete;
  DeliveryQueue& operator=(const DeliveryQueue&) = delete;
  ~DeliveryQueue() { clear(); }

  // Copies the value. Drops one longer than kLargestValue, which no device can have sent.
  void push(ValueTarget& target, Value value);
  void push(Action action);

  bool isEmpty() const { return held_ == 0; }
  bool isFull() const { return held_ >= kLimit; }

  // Removes the oldest from the queue and then delivers it; the callback may push and clear. Not to
  // be called when empty.
  void deliverNext();

  // Drops everything that waits.
  void clear();

  // As clear(), and from now on drops whatever is pushed.
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
