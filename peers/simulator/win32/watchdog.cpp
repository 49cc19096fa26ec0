#include "win32/watchdog.h"

#include "win32/background_thread.h"

#include <memory>

namespace kxsim {
namespace {

constexpr DWORD kStepMilliseconds = 500;

void watch(Simulator& simulator, const UniqueHandle& parent) {
  const auto limit = static_cast<ULONGLONG>(simulator.script.idleLimitSeconds) * 1000;
  for (;;) {
    if (!parent) {
      Sleep(kStepMilliseconds);
    } else if (WaitForSingleObject(parent.get(), kStepMilliseconds) == WAIT_OBJECT_0) {
      simulator.end(kExitParentGone, "parent-gone");
    }
    if (GetTickCount64() - simulator.recorder.lastActivity() >= limit) {
      simulator.end(kExitIdle, "idle");
    }
  }
}

}  // namespace

void startWatchdog(Simulator& simulator, std::optional<unsigned long> parentProcessId) {
  const auto parent = std::make_shared<UniqueHandle>();
  if (parentProcessId) {
    *parent = UniqueHandle(OpenProcess(SYNCHRONIZE, FALSE, *parentProcessId));
    if (!*parent) {
      simulator.end(kExitParentGone, "parent-unknown");
    }
  }
  runInBackground([&simulator, parent] { watch(simulator, *parent); });
}

}  // namespace kxsim
