// A mutex as another thread or process sees it, by its name.
#pragma once

#include "support/win32/text.h"

#include <windows.h>
#include <ostream>
#include <string>
#include <thread>

enum class MutexState { Absent, Free, Owned };

inline std::ostream& operator<<(std::ostream& stream, MutexState state) {
  switch (state) {
    case MutexState::Absent:
      return stream << "absent";
    case MutexState::Free:
      return stream << "free";
    case MutexState::Owned:
      return stream << "owned";
  }
  return stream;
}

class NamedMutex {
 public:
  explicit NamedMutex(const std::string& name)
      : handle_(::CreateMutexW(nullptr, FALSE, wide(name).c_str())) {}
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;
  ~NamedMutex() { ::CloseHandle(handle_); }

  HANDLE handle() const { return handle_; }
  // Without waiting.
  bool acquire() const {
    const DWORD result = ::WaitForSingleObject(handle_, 0);
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
  }
  void release() const { ::ReleaseMutex(handle_); }

 private:
  HANDLE handle_;
};

// Looks from a thread of its own, since a thread may take a mutex that it owns any number of times.
inline MutexState stateOfMutex(const std::string& name) {
  MutexState state = MutexState::Absent;
  std::thread([&] {
    const HANDLE mutex = ::OpenMutexW(SYNCHRONIZE, FALSE, wide(name).c_str());
    if (mutex == nullptr) {
      return;
    }
    state = MutexState::Owned;
    if (::WaitForSingleObject(mutex, 0) != WAIT_TIMEOUT) {
      state = MutexState::Free;
      ::ReleaseMutex(mutex);
    }
    ::CloseHandle(mutex);
  }).join();
  return state;
}
