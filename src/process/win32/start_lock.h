// The lock that keeps starts of one browser, profile and user apart, across the processes of one Windows
// session: a named mutex. Windows ties its ownership to the thread that took it. An instance whose last
// attempt has failed must therefore be destroyed by the thread that made the attempt.
#pragma once

#include "common/win32/unique_handle.h"

#include <windows.h>
#include <string>

namespace kx {

// Owning a mutex, apart from having a handle to it. Releases it in the destructor.
class MutexOwnership {
 public:
  MutexOwnership() = default;
  explicit MutexOwnership(HANDLE mutex) : mutex_(mutex) {}
  MutexOwnership(MutexOwnership&& other) noexcept : mutex_(std::exchange(other.mutex_, nullptr)) {}
  MutexOwnership& operator=(MutexOwnership&& other) noexcept;
  MutexOwnership(const MutexOwnership&) = delete;
  MutexOwnership& operator=(const MutexOwnership&) = delete;
  ~MutexOwnership() { release(); }

  void release();

 private:
  HANDLE mutex_ = nullptr;
};

class StartLock {
 public:
  // Waits for the lock of that name for up to ten minutes. True when it is held on return, at once when it
  // was held already. A failure is in the log.
  bool acquire(const std::string& name);
  void release();
  bool isHeld() const { return static_cast<bool>(mutex_); }

 private:
  UniqueHandle mutex_;
  MutexOwnership ownership_;  // behind the handle, so that it is released before the handle is closed
};

}  // namespace kx
