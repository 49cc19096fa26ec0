// Puts a test's own function in place of one Windows call that the library makes, until the object's end:
//
//   SubstitutedCall<&WindowsCalls::flushFileBuffers> flush([&](HANDLE handle) { ...; return TRUE; });
//   GivingCall<&WindowsCalls::flushFileBuffers> flush(FALSE, ERROR_ACCESS_DENIED);
//   WatchedCall<&WindowsCalls::flushFileBuffers> flush([&](HANDLE handle) { ... });
//
// The first function may go through to the real call with flush.real(...). The second object gives a result
// and a last error each time; the third goes through to the real call after an action. flush.count() tells
// how often the call was made. One object per call at a time.
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

template <auto kCall>
class GivingCall : public SubstitutedCall<kCall> {
 public:
  template <typename Result>
  explicit GivingCall(Result result, DWORD error = ERROR_SUCCESS)
      : SubstitutedCall<kCall>([=](auto...) { return failWith(error, result); }) {}
};

template <auto kCall>
class WatchedCall : public SubstitutedCall<kCall> {
 public:
  WatchedCall() : WatchedCall([](auto...) {}) {}
  template <typename Before>
  explicit WatchedCall(Before before)
      : SubstitutedCall<kCall>([this, before](auto... arguments) {
          before(arguments...);
          return this->real(arguments...);
        }) {}
};

}  // namespace kx
