#include "process/win32/start_lock.h"

#include "common/last_error.h"
#include "common/timeouts.h"
#include "common/win32/utf16.h"
#include "common/win32/windows_calls.h"
#include "log/log.h"

namespace kx {

MutexOwnership& MutexOwnership::operator=(MutexOwnership&& other) noexcept {
  release();
  mutex_ = std::exchange(other.mutex_, nullptr);
  return *this;
}

void MutexOwnership::release() {
  if (mutex_ != nullptr) {
    const LastErrorGuard guard;
    ::ReleaseMutex(std::exchange(mutex_, nullptr));
  }
}

bool StartLock::acquire(const std::string& name) {
  if (isHeld()) {
    return true;
  }
  UniqueHandle mutex(windowsCalls().createMutex(nullptr, FALSE, utf16FromUtf8(name).c_str()));
  if (!mutex) {
    __logerr("Could not create binary start lock %s, error %d", name.c_str(), lastErrorForLog());
    return false;
  }
  switch (windowsCalls().waitForSingleObject(mutex.get(), kStartLockWaitMilliseconds)) {
    case WAIT_OBJECT_0:
    // An abandoned mutex counts as ours. Its holder died while connecting and left nothing that needs repair.
    case WAIT_ABANDONED:
      mutex_ = std::move(mutex);
      ownership_ = MutexOwnership(mutex_.get());
      return true;
    case WAIT_TIMEOUT:
      __logerr("Timout while waiting for binary start lock");
      return false;
    default:
      __logerr("Failed waiting for binary start lock, error %d", lastErrorForLog());
      return false;
  }
}

void StartLock::release() {
  ownership_.release();
  mutex_.reset();
}

}  // namespace kx
