// Puts a test's own function in place of one Windows call that the library makes, until the object's end:
//
//   SubstitutedCall<&WindowsCalls::flushFileBuffers> flush([](HANDLE) { return failWith(ERROR_ACCESS_DENIED,
//   FALSE); });
//
// The function may go through to the real call with flush.real(...), and flush.count() tells how often it was
// called. One object per call at a time.
#pragma once

#include "common/win32/windows_calls.h"

#include <windows.h>
#include <atomic>
#include <functional>
#include <type_traits>
#include <utility>

namespace kx {

// What a failing call leaves behind: the thread's last error and its result.
template <typename Result>
Result failWith(DWORD error, Result result) {
  ::SetLastError(error);
  return result;
}

template <auto kCall, typename Pointer>
class SubstitutedCallOf;

template <auto kCall, typename Result, typename... Arguments>
class SubstitutedCallOf<kCall, Result (*)(Arguments...)> {
 public:
  explicit SubstitutedCallOf(std::function<Result(Arguments...)> body) : real_(windowsCalls().*kCall) {
    body_ = std::move(body);
    count_ = 0;
    windowsCalls().*kCall = &SubstitutedCallOf::call;
  }
  SubstitutedCallOf(const SubstitutedCallOf&) = delete;
  SubstitutedCallOf& operator=(const SubstitutedCallOf&) = delete;
  ~SubstitutedCallOf() {
    windowsCalls().*kCall = real_;
    body_ = nullptr;
  }

  Result real(Arguments... arguments) const { return real_(arguments...); }
  int count() const { return count_; }

 private:
  static Result call(Arguments... arguments) {
    ++count_;
    return body_(arguments...);
  }

  Result (*real_)(Arguments...);
  static inline std::function<Result(Arguments...)> body_;
  static inline std::atomic<int> count_{0};
};

template <auto kCall>
using SubstitutedCall =
    SubstitutedCallOf<kCall, std::remove_reference_t<decltype(std::declval<WindowsCalls&>().*kCall)>>;

}  // namespace kx
