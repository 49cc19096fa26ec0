#include "fault/walk/watchdog.h"

#include <cstdio>
#include <iterator>

namespace {

constexpr DWORD kLongestRunMilliseconds = 300'000;

}  // namespace

Watchdog::Watchdog()
    : signals_{::CreateEventW(nullptr, FALSE, FALSE, nullptr),
               ::CreateEventW(nullptr, FALSE, FALSE, nullptr)},
      thread_(::CreateThread(nullptr, 0, &Watchdog::run, this, 0, nullptr)) {}

Watchdog::~Watchdog() {
  ::SetEvent(signals_[Over]);
  ::WaitForSingleObject(thread_, INFINITE);
  ::CloseHandle(thread_);
  for (const HANDLE signal : signals_) {
    ::CloseHandle(signal);
  }
}

void Watchdog::expect(const std::string& what) {
  ::AcquireSRWLockExclusive(&lock_);
  what_ = what;
  ::ReleaseSRWLockExclusive(&lock_);
  ::SetEvent(signals_[NextRun]);
}

DWORD WINAPI Watchdog::run(void* watchdog) {
  static_cast<Watchdog*>(watchdog)->watch();
  return 0;
}

void Watchdog::watch() {
  for (;;) {
    switch (::WaitForMultipleObjects(static_cast<DWORD>(std::size(signals_)), signals_, FALSE,
                                     kLongestRunMilliseconds)) {
      case WAIT_OBJECT_0 + NextRun:
        continue;
      case WAIT_OBJECT_0 + Over:
        return;
      default:
        ::AcquireSRWLockExclusive(&lock_);
        std::fprintf(stderr, "The library does not return: %s\n", what_.c_str());
        std::fflush(stderr);
        ::TerminateProcess(::GetCurrentProcess(), 3);
    }
  }
}
