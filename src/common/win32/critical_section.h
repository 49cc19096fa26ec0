// A Windows critical section with the interface that std::lock_guard expects. Any thread may use it.
#pragma once

#include <windows.h>

namespace kx {

class CriticalSection {
 public:
  CriticalSection() { ::InitializeCriticalSection(&section_); }
  ~CriticalSection() { ::DeleteCriticalSection(&section_); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void lock() { ::EnterCriticalSection(&section_); }
  void unlock() { ::LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_{};
};

}  // namespace kx
