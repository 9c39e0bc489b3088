#include "platform/shared/DeliveryQueue.h"

#include <cstring>

namespace platform::shared {

namespace {

// The bytes that an action counts for: roughly its own size and that of its contents.
constexpr std::size_t kActionWeight = 256;

// Releases the target also when the callback throws, as it does in tests when the bridge ends.
struct Release {
  void operator()(ValueTarget* target) const { target->release(); }
};

}  // namespace

void DeliveryQueue::push(ValueTarget& target, Value value) {
  if (isClosed_ || value.size() > kLargestValue) return;
  target.retain();
  std::byte* place = append(Header{&target, nullptr, value.size()});
  if (!value.empty()) std::memcpy(place, value.data(), value.size());
}

void DeliveryQueue::push(Action action) {
  if (isClosed_) return;
  append(Header{nullptr, std::make_unique<Action>(std::move(action)).release(), 0});
}

void DeliveryQueue::deliverNext() {
  std::uint8_t bytes[kLargestValue];
  const Header header = takeNext(bytes);
  if (header.action != nullptr) {
    const std::unique_ptr<Action> action(header.action);
    (*action)();
  } else {
    const std::unique_ptr<ValueTarget, Release> target(header.target);
    target->deliver(Value(bytes, header.size));
  }
}

void DeliveryQueue::clear() {
  std::uint8_t bytes[kLargestValue];
  while (!isEmpty()) {
    const Header header = takeNext(bytes);
    if (header.target != nullptr) header.target->release();
    const std::unique_ptr<Action> forgotten(header.action);
  }
}

void DeliveryQueue::close() {
  isClosed_ = true;
  clear();
}

std::size_t DeliveryQueue::lengthOf(const Header& header) {
  return sizeof(Header) + header.size;
}

std::size_t DeliveryQueue::weightOf(const Header& header) {
  return header.action != nullptr ? kActionWeight : lengthOf(header);
}

std::byte* DeliveryQueue::append(const Header& header) {
  const std::size_t length = lengthOf(header);
  if (last_ == nullptr || last_->end + length > Block::kCapacity) addBlock();
  std::byte* place = last_->bytes.data() + last_->end;
  std::memcpy(place, &header, sizeof(header));
  last_->end += length;
  held_ += weightOf(header);
  return place + sizeof(header);
}

DeliveryQueue::Header DeliveryQueue::takeNext(std::uint8_t* bytes) {
  Block& block = *first_;
  const std::byte* place = block.bytes.data() + block.begin;
  Header header;
  std::memcpy(&header, place, sizeof(header));
  if (header.size > 0) std::memcpy(bytes, place + sizeof(header), header.size);
  block.begin += lengthOf(header);
  held_ -= weightOf(header);
  if (block.begin == block.end) dropFirstBlock();
  return header;
}

void DeliveryQueue::addBlock() {
  // Default-initialized to save the time: the bytes are written before they are read.
  std::unique_ptr<Block> block(new Block);
  Block* added = block.get();
  (last_ == nullptr ? first_ : last_->next) = std::move(block);
  last_ = added;
}

void DeliveryQueue::dropFirstBlock() {
  if (first_.get() != last_) {
    first_ = std::move(first_->next);
  } else {
    first_->begin = 0;
    first_->end = 0;
  }
}

}  // namespace platform::shared
