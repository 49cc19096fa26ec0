// The heap of the loaded library: every block that it asks for and gives back, and a way to refuse one. The
// library's run-time is part of the file and takes its memory from the system's malloc, through the import
// table. One object at a time, one thread.
#pragma once

#include "support/win32/import_table.h"

#include <windows.h>
#include <cstddef>
#include <map>
#include <optional>
#include <string>

class InterceptedMemory {
 public:
  explicit InterceptedMemory(HMODULE library);
  ~InterceptedMemory();
  InterceptedMemory(const InterceptedMemory&) = delete;
  InterceptedMemory& operator=(const InterceptedMemory&) = delete;

  // One allocation is refused; or the one behind it too, which is that of the exception; or memory has run
  // out with it, and there is no more than what is given back.
  enum class Refused { One, TheExceptionToo, AllTheRest };

  // Allocations are counted from 0 from here on.
  void start(std::optional<std::size_t> refusedAllocation = {}, Refused refused = Refused::One);
  void pause() { isWatching_ = false; }
  void goOn() { isWatching_ = true; }

  std::size_t allocations() const { return count_; }

  // The blocks that the library has at this moment, of those it asked for while this object was there.
  std::size_t liveBlocks() const { return live_.size(); }

  // What is going on, for the message when the library aborts.
  std::string what;

  // ---- for the functions that the library calls ----
  static InterceptedMemory& current();
  bool refuses(std::size_t size);
  void add(void* block, std::size_t size);
  void remove(void* block);

 private:
  ImportTable imports_;
  bool isWatching_ = false;
  std::size_t count_ = 0;
  std::optional<std::size_t> refusedAllocation_;
  Refused refused_ = Refused::One;
  std::size_t givenBack_ = 0;
  std::map<void*, std::size_t> live_;
};
