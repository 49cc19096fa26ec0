#include "api/win32/browser_start.h"

#include "api/browser_arguments.h"
#include "api/connect_attempts.h"
#include "api/kxtcp64.h"
#include "common/timeouts.h"
#include "common/win32/windows_calls.h"
#include "log/log.h"
#include "pipe/win32/pipe_browser_instance.h"
#include "process/win32/browser_launch.h"
#include "process/win32/browser_shutdown.h"

#include <windows.h>
#include <memory>

namespace kx {

namespace {

// The browser always counts as launched for whoever connects to a runner: its host did that.
constexpr bool kLaunched = true;

// What the time-out of an exit means when kx_Init gives up on a browser that it launched.
constexpr int kGiveUpTimeoutSeconds = 0;

void pauseBetweenAttempts() {
  windowsCalls().sleep(kConnectPauseMilliseconds);
}

bool launch(BrowserInstance& browser, const char* browserPath, const StartArguments& start) {
  if (!start.unwritableStartPage.empty()) {
    browser.fail(kErrorGeneral, "Could not open temp file " + start.unwritableStartPage);
    return false;
  }
  return launchBrowser(browser, browserPath, start.arguments);
}

// What a failed start leaves: its error, readable in the record, and no browser that this call launched.
int failStart(ContextRecord& record, bool launched, int result) {
  keepInstanceError(record);
  __logerr("kx_Init(): %s, error (%d)", record.lastErrorText.c_str(), record.lastErrorNumber);
  if (launched) {
    terminateAndWait(*record.instance, kGiveUpTimeoutSeconds);
  }
  return result;
}

// Sees to it that a start which lack of memory breaks off leaves no browser running that it launched. Asking
// such a browser to exit would take memory again.
class LaunchGuard {
 public:
  explicit LaunchGuard(const BrowserInstance& browser) : browser_(browser) {}
  LaunchGuard(const LaunchGuard&) = delete;
  LaunchGuard& operator=(const LaunchGuard&) = delete;
  ~LaunchGuard() {
    if (!isOver_) {
      killLaunchedBrowser(browser_);
    }
  }

  // The start has come to its end, one way or the other.
  int over(int result) {
    isOver_ = true;
    return result;
  }

 private:
  const BrowserInstance& browser_;
  bool isOver_ = false;
};

// Connects and initialises. False with the reason kept in the record.
bool connectAndInitialise(ContextRecord& record, const RunnerStartRequest& request) {
  BrowserInstance& browser = *record.instance;
  switch (connectToRunner(browser, request.timeoutSeconds, pauseBetweenAttempts)) {
    case RunnerConnect::Connected:
      if (browser.initialise(request.openNewBrowser, kLaunched, request.timeoutSeconds)) {
        return true;
      }
      break;
    case RunnerConnect::Failed:
      break;
    case RunnerConnect::TimedOut:
      keepError(record, kErrorTimeout, "Connection timed out");
      return false;
  }
  keepInstanceError(record);
  return false;
}

}  // namespace

int startBrowser(ContextRecord& record, const StartRequest& request) {
  const std::string pipeName = initPipeName(request.browser, request.options);
  InstanceStart attempt(record, std::make_unique<PipeBrowserInstance>(request.browser, pipeName));
  BrowserInstance& browser = attempt.browser();
  LaunchGuard launchGuard(browser);
  if (findOption(request.options, kOptionProfiler) != nullptr) {
    browser.setUseProfiler(true);
  }
  const StartArguments start = startArguments(request.browser, request.options, pipeName);

  const ConnectOutcome outcome = connectOrLaunch(
      browser, request.timeoutSeconds, [&] { return launch(browser, request.browserPath, start); },
      pauseBetweenAttempts);
  if (!outcome.isConnected) {
    return launchGuard.over(failStart(record, outcome.launched, outcome.failureResult));
  }
  if (!browser.initialise(request.openNewBrowser, outcome.launched, request.timeoutSeconds)) {
    return launchGuard.over(failStart(record, outcome.launched, KX_FAILED));
  }
  attempt.succeed();
  return launchGuard.over(KX_OK);
}

int startWithRunner(ContextRecord& record, const RunnerStartRequest& request) {
  InstanceStart attempt(record, std::make_unique<PipeBrowserInstance>(request.browser, request.pipeName));
  if (!connectAndInitialise(record, request)) {
    __logerr("kxr_Init() %s, error (%d)", record.lastErrorText.c_str(), record.lastErrorNumber);
    return KX_FAILED;
  }
  attempt.succeed();
  return KX_OK;
}

}  // namespace kx
