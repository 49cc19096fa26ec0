// Owners for what Windows hands out: move-only, empty for every "no handle" value, closing in the destructor.
// The closers keep the thread's last error, so that an owner may go out of scope between a failing call and
// the message about it.
#pragma once

#include "common/last_error.h"

#include <windows.h>
#include <memory>
#include <utility>

namespace kx {

template <typename Policy>
class UniqueResource {
 public:
  using Handle = typename Policy::Handle;

  UniqueResource() = default;
  explicit UniqueResource(Handle handle) : handle_(handle) {}
  UniqueResource(UniqueResource&& other) noexcept : handle_(other.release()) {}
  UniqueResource& operator=(UniqueResource&& other) noexcept {
    reset(other.release());
    return *this;
  }
  UniqueResource(const UniqueResource&) = delete;
  UniqueResource& operator=(const UniqueResource&) = delete;
  ~UniqueResource() { reset(); }

  Handle get() const { return handle_; }
  explicit operator bool() const { return Policy::isValid(handle_); }
  Handle release() { return std::exchange(handle_, Policy::empty()); }

  void reset(Handle handle = Policy::empty()) {
    const Handle old = std::exchange(handle_, handle);
    if (Policy::isValid(old) && old != handle) {
      const LastErrorGuard guard;
      Policy::close(old);
    }
  }

 private:
  Handle handle_ = Policy::empty();
};

struct KernelHandlePolicy {
  using Handle = HANDLE;
  static Handle empty() { return nullptr; }
  // Some calls tell "none" by null, others by INVALID_HANDLE_VALUE.
  static bool isValid(Handle handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
  static void close(Handle handle) { ::CloseHandle(handle); }
};

struct FindHandlePolicy {
  using Handle = HANDLE;
  static Handle empty() { return INVALID_HANDLE_VALUE; }
  static bool isValid(Handle handle) { return handle != INVALID_HANDLE_VALUE; }
  static void close(Handle handle) { ::FindClose(handle); }
};

struct LocalMemoryPolicy {
  using Handle = HLOCAL;
  static Handle empty() { return nullptr; }
  static bool isValid(Handle memory) { return memory != nullptr; }
  static void close(Handle memory) { ::LocalFree(memory); }
};

using UniqueHandle = UniqueResource<KernelHandlePolicy>;
using UniqueFindHandle = UniqueResource<FindHandlePolicy>;
using LocalMemory = UniqueResource<LocalMemoryPolicy>;

}  // namespace kx
