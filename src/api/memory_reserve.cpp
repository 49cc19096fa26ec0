#include "api/memory_reserve.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace kx {

namespace {

constexpr std::size_t kReserveBytes = 65536;

std::atomic<void*> reserve;

void replaceReserve(void* block) noexcept {
  std::free(reserve.exchange(block));
}

// Called by operator new when there is no memory.
[[noreturn]] void giveBackAndThrow() {
  replaceReserve(nullptr);
  throw std::bad_alloc();
}

}  // namespace

void keepMemoryReserve() {
  refillMemoryReserve();
  if (reserve.load() == nullptr) {
    throw std::bad_alloc();
  }
  std::set_new_handler(&giveBackAndThrow);
}

void refillMemoryReserve() noexcept {
  if (reserve.load(std::memory_order_relaxed) == nullptr) {
    replaceReserve(std::malloc(kReserveBytes));
  }
}

void dropMemoryReserve() noexcept {
  std::set_new_handler(nullptr);
  replaceReserve(nullptr);
}

}  // namespace kx
