// Keeps the calling thread's last error across a helper step: read when the guard is made, put back when it
// ends. Log calls, closers and cancels use it, since messages and hosts read the last error after them.
#pragma once

#include "common/platform.h"

#include <cstdint>

namespace kx {

class LastErrorGuard {
 public:
  LastErrorGuard() : number_(platform::lastErrorNumber()) {}
  ~LastErrorGuard() { platform::setLastErrorNumber(number_); }
  LastErrorGuard(const LastErrorGuard&) = delete;
  LastErrorGuard& operator=(const LastErrorGuard&) = delete;

 private:
  std::uint32_t number_;
};

// The last error in the form that "%d" prints.
inline int lastErrorForLog() {
  return static_cast<int>(platform::lastErrorNumber());
}

}  // namespace kx
