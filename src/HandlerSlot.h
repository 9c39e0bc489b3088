// Holds the handler of one device family: empty at first, filled once by the main thread, then
// never changed. Any thread may read it.
#pragma once

#include <atomic>
#include <memory>

template <class Handler>
class HandlerSlot {
 public:
  HandlerSlot() = default;
  HandlerSlot(const HandlerSlot&) = delete;
  HandlerSlot& operator=(const HandlerSlot&) = delete;
  ~HandlerSlot() { delete get(); }

  void fill(std::unique_ptr<Handler> handler) {
    handler_.store(handler.release(), std::memory_order_release);
  }

  Handler* get() const { return handler_.load(std::memory_order_acquire); }
  explicit operator bool() const { return get() != nullptr; }

 private:
  std::atomic<Handler*> handler_{nullptr};
};
