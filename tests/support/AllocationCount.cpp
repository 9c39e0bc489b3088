#include "support/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> count = 0;

}  // namespace

// The library's stable_sort calls it: what it gives has to suit the delete below as well.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  ++count;
  return std::malloc(size > 0 ? size : 1);
}

void* operator new(std::size_t size) {
  void* memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

std::size_t support::allocationCount() {
  return count;
}
