#include "fault/walk/intercepted_memory.h"

#include <cstdlib>
#include <stdexcept>

namespace {

InterceptedMemory* currentMemory = nullptr;

decltype(&std::malloc) realMalloc = nullptr;
decltype(&std::calloc) realCalloc = nullptr;
decltype(&std::realloc) realRealloc = nullptr;
decltype(&std::free) realFree = nullptr;

void* watchedMalloc(std::size_t size) {
  InterceptedMemory& memory = InterceptedMemory::current();
  if (memory.refusesNext()) {
    return nullptr;
  }
  void* block = realMalloc(size);
  memory.add(block, size);
  return block;
}

void* watchedCalloc(std::size_t count, std::size_t size) {
  InterceptedMemory& memory = InterceptedMemory::current();
  if (memory.refusesNext()) {
    return nullptr;
  }
  void* block = realCalloc(count, size);
  memory.add(block, count * size);
  return block;
}

void* watchedRealloc(void* old, std::size_t size) {
  InterceptedMemory& memory = InterceptedMemory::current();
  if (memory.refusesNext()) {
    return nullptr;
  }
  memory.remove(old);
  void* block = realRealloc(old, size);
  memory.add(block, size);
  return block;
}

void watchedFree(void* block) {
  InterceptedMemory::current().remove(block);
  realFree(block);
}

}  // namespace

InterceptedMemory::InterceptedMemory(HMODULE library) : imports_(library) {
  if (currentMemory != nullptr) {
    throw std::logic_error("the library's memory is intercepted already");
  }
  currentMemory = this;
  realMalloc = imports_.replace("malloc", &watchedMalloc);
  realCalloc = imports_.replace("calloc", &watchedCalloc);
  realRealloc = imports_.replace("realloc", &watchedRealloc);
  realFree = imports_.replace("free", &watchedFree);
}

InterceptedMemory::~InterceptedMemory() {
  currentMemory = nullptr;
}

InterceptedMemory& InterceptedMemory::current() {
  return *currentMemory;
}

void InterceptedMemory::start(std::optional<std::size_t> refusedAllocation, Refused refused) {
  count_ = 0;
  refusedAllocation_ = refusedAllocation;
  refused_ = refused;
  isWatching_ = true;
}

bool InterceptedMemory::refusesNext() {
  if (!isWatching_) {
    return false;
  }
  const std::size_t number = count_++;
  return refusedAllocation_ &&
         (refused_ == Refused::One ? number == *refusedAllocation_ : number >= *refusedAllocation_);
}

void InterceptedMemory::add(void* block, std::size_t size) {
  if (block != nullptr) {
    live_[block] = size;
  }
}
