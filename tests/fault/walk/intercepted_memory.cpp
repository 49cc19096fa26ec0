#include "fault/walk/intercepted_memory.h"

#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <stdexcept>

namespace {

InterceptedMemory* currentMemory = nullptr;

decltype(&std::malloc) realMalloc = nullptr;
decltype(&std::calloc) realCalloc = nullptr;
decltype(&std::realloc) realRealloc = nullptr;
decltype(&std::free) realFree = nullptr;

void* watchedMalloc(std::size_t size) {
  InterceptedMemory& memory = InterceptedMemory::current();
  if (memory.refuses(size)) {
    return nullptr;
  }
  void* block = realMalloc(size);
  memory.add(block, size);
  return block;
}

void* watchedCalloc(std::size_t count, std::size_t size) {
  InterceptedMemory& memory = InterceptedMemory::current();
  if (memory.refuses(count * size)) {
    return nullptr;
  }
  void* block = realCalloc(count, size);
  memory.add(block, count * size);
  return block;
}

void* watchedRealloc(void* old, std::size_t size) {
  InterceptedMemory& memory = InterceptedMemory::current();
  if (memory.refuses(size)) {
    return nullptr;
  }
  memory.remove(old);
  void* block = realRealloc(old, size);
  memory.add(block, size);
  return block;
}

// Nothing that goes wrong in the library may end its host.
[[noreturn]] void reportAbort() {
  std::fprintf(stderr, "The library aborts the process: %s\n", InterceptedMemory::current().what.c_str());
  std::fflush(stderr);
  ::ExitProcess(3);
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
  imports_.replace("abort", &reportAbort);
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

bool InterceptedMemory::refuses(std::size_t size) {
  if (!isWatching_) {
    return false;
  }
  const std::size_t number = count_++;
  if (!refusedAllocation_ || number < *refusedAllocation_) {
    return false;
  }
  if (number == *refusedAllocation_) {
    givenBack_ = 0;
    return true;
  }
  if (refused_ != Refused::AllTheRest) {
    return refused_ == Refused::TheExceptionToo && number == *refusedAllocation_ + 1;
  }
  const bool isThere = size <= givenBack_;
  givenBack_ -= isThere ? size : 0;
  return !isThere;
}

void InterceptedMemory::add(void* block, std::size_t size) {
  if (block != nullptr) {
    live_[block] = size;
  }
}

void InterceptedMemory::remove(void* block) {
  if (block != nullptr) {
    givenBack_ += ::_msize(block);
    live_.erase(block);
  }
}
