#include "process/win32/browser_shutdown.h"

#include "common/last_error.h"
#include "common/timeouts.h"
#include "common/win32/unique_handle.h"
#include "common/win32/windows_calls.h"
#include "log/log.h"

#include <windows.h>

namespace kx {

namespace {

constexpr UINT kExitCode = 0;
constexpr char kWaitFailedText[] = "Waiting for browser process exit failed";

void killProcess(DWORD processId) {
  const UniqueHandle process(windowsCalls().openProcess(PROCESS_TERMINATE, FALSE, processId));
  if (process) {
    windowsCalls().terminateProcess(process.get(), kExitCode);
  }
}

bool waitForBrowserProcess(BrowserInstance& instance, DWORD processId, int timeoutSeconds) {
  const int id = static_cast<int>(processId);
  __loginf("Waiting for browser process (%d) termination", id);
  const UniqueHandle process(windowsCalls().openProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE, processId));
  if (!process) {
    __logerr("Waiting for browser process %d exit failed, error %d", id, lastErrorForLog());
    instance.fail(kErrorGeneral, kWaitFailedText);
    killProcess(processId);
    return false;
  }
  const DWORD result =
      windowsCalls().waitForSingleObject(process.get(), shutdownWaitMilliseconds(timeoutSeconds));
  if (result == WAIT_OBJECT_0) {
    return true;
  }
  __logerr("Waiting for browser process (%d) exit failed, error %d", id, lastErrorForLog());
  if (result == WAIT_TIMEOUT) {
    instance.fail(kErrorTimeout, "Timeout waiting browser process exit");
  } else {
    instance.fail(kErrorGeneral, kWaitFailedText);
  }
  windowsCalls().terminateProcess(process.get(), kExitCode);
  return false;
}

}  // namespace

bool terminate(BrowserInstance& instance, int timeoutSeconds, std::uint32_t* processId) {
  if (!instance.sendCommand(exitRequest(), timeoutSeconds)) {
    __logerr("BrowserInstance::terminate() failed");
    return false;
  }
  if (processId != nullptr) {
    *processId = instance.waitForProcessId();
  }
  return true;
}

void killLaunchedBrowser(const BrowserInstance& instance) {
  if (instance.browserProcessId() != 0) {
    killProcess(instance.browserProcessId());
  }
}

bool terminateAndWait(BrowserInstance& instance, int timeoutSeconds) {
  if (!instance.sendCommand(exitRequest(), timeoutSeconds)) {
    __logerr("BrowserInstance::terminate() failed, kill browser process");
    killLaunchedBrowser(instance);
    return false;
  }
  const DWORD processId = instance.waitForProcessId();
  if (processId == 0) {
    return true;
  }
  instance.clearWaitForProcessId();
  return waitForBrowserProcess(instance, processId, timeoutSeconds);
}

}  // namespace kx
