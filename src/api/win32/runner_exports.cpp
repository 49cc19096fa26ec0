// The kxr_ exports: for hosts that start the browser themselves. Each is documented in the public header, and
// only there.
#include "api/browser_arguments.h"
#include "api/copy_out.h"
#include "api/kxtcp64.h"
#include "api/options.h"
#include "api/win32/browser_start.h"
#include "api/win32/call_frame.h"
#include "api/win32/context_registry.h"
#include "common/timeouts.h"
#include "log/log.h"
#include "process/win32/browser_shutdown.h"

#include <windows.h>
#include <string>

namespace kx {

namespace {

constexpr ExportFrame kRunnerInit = {"kxr_Init", "kxr_Init(): context %d does not exist", nullptr};
// An exit that did not come to its end counts as one that the browser did not confirm: the instance is kept.
constexpr ExportFrame kRunnerExit = {"kxr_Exit",
                                     "kxr_Exit(): context %d does not exist",
                                     "kxr_Exit() error: not initialized",
                                     {KX_NO_CONTEXT, KX_FAILED, KX_TIMEOUT}};

// What an export says when browser and options name no browser that it can serve.
struct RefusalMessages {
  const char* runnerRequired;
  const char* firefoxProfileRequired;
  const char* chromeDataFolderRequired;
  const char* unsupportedBrowser;  // with a "%s" for the browser
};

constexpr RefusalMessages kCommandLineRefusals = {
    "-runner required for kxr_GetCommandLine()", "-fxProfile required for kxr_GetCommandLine()",
    "-crUserDataDir required for kxr_GetCommandLine()", "Unsupported browser %s"};

// The third message is in the words of kxr_GetCommandLine; log readers match it.
constexpr RefusalMessages kInitRefusals = {"kxr_Init(): -runner required", "kxr_Init(): -fxProfile required",
                                           "-crUserDataDir required for kxr_GetCommandLine()",
                                           "kxr_Init(): Unsupported browser %s"};

// Whether the call is refused; then the log tells why.
bool isRefused(const RunnerBrowser& runner, const char* browser, const RefusalMessages& messages) {
  switch (runner.problem) {
    case RunnerBrowser::Problem::None:
      return false;
    case RunnerBrowser::Problem::RunnerRequired:
      __logerr("%s", messages.runnerRequired);
      break;
    case RunnerBrowser::Problem::FirefoxProfileRequired:
      __logerr("%s", messages.firefoxProfileRequired);
      break;
    case RunnerBrowser::Problem::ChromeDataFolderRequired:
      __logerr("%s", messages.chromeDataFolderRequired);
      break;
    case RunnerBrowser::Problem::UnsupportedBrowser:
      __logerr(messages.unsupportedBrowser, browser);
      break;
  }
  return true;
}

}  // namespace

}  // namespace kx

// The exports are C functions.
using namespace kx;  // NOLINT(google-build-using-namespace)

int kxr_GetCommandLine(const char* browser, const char* options, char* buffer, int size,
                       const char* pageText) {
  return guarded("kxr_GetCommandLine", KX_FAILED, [&] {
    if (browser == nullptr || options == nullptr) {
      __logerr("Invalid arguments for kxr_GetCommandLine()");
      return KX_FAILED;
    }
    const Options parsed = parseOptions(options);
    const RunnerBrowser runner = runnerBrowser(browser, parsed);
    if (isRefused(runner, browser, kCommandLineRefusals)) {
      return KX_FAILED;
    }
    const bool useProfiler = findOption(parsed, kOptionProfiler) != nullptr;
    const std::string line = runnerCommandLine(browser, runner, useProfiler, pageText);
    if (line.empty()) {
      return KX_FAILED;
    }
    switch (copyCommandLineOut(line, buffer, size)) {
      case CopyOut::SizeAsked:
        return sizeWithTerminator(line);
      case CopyOut::Copied:
        return KX_OK;
      case CopyOut::TooSmall:
        break;
    }
    return KX_BUFFER_TOO_SMALL;
  });
}

int kxr_Init(int context, const char* browser, const char* options, int openNewBrowser, int timeout) {
  return withContext(kRunnerInit, context, {}, [&](ContextRecord& record) {
    if (browser == nullptr || options == nullptr) {
      __logerr("kxr_Init(): Invalid arguments");
      return KX_FAILED;
    }
    const RunnerBrowser runner = runnerBrowser(browser, parseOptions(options));
    if (isRefused(runner, browser, kInitRefusals)) {
      return KX_FAILED;
    }
    const RunnerStartRequest request = {browser, runner.pipeName, openNewBrowser != 0,
                                        timeoutFromHost(timeout)};
    return startWithRunner(record, request);
  });
}

int kxr_Exit(int context, int timeout) {
  return withBrowser(kRunnerExit, context, {}, [&](ContextRecord& record) {
    if (!terminate(*record.instance, timeoutFromHost(timeout))) {
      return KX_TIMEOUT;
    }
    record.instance.reset();
    return KX_OK;
  });
}
