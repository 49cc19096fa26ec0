// The kx_ exports: contexts, the start of a browser, everything that is done with one, its end. Each is
// documented in the public header, and only there.
#include "api/copy_out.h"
#include "api/kxtcp64.h"
#include "api/options.h"
#include "api/win32/browser_start.h"
#include "api/win32/call_frame.h"
#include "api/win32/context_registry.h"
#include "common/timeouts.h"
#include "log/log.h"
#include "process/win32/browser_shutdown.h"

#include <string>
#include <string_view>

namespace kx {

namespace {

// Hosts and log readers match these messages. kx_GetPerformance misspells its own name in one of them, and
// two exports report a missing browser in the words of kx_GetLastExtract: the texts stay as they are.
constexpr ExportFrame kGetLastErrorNumber = {"kx_GetLastErrorNumber",
                                             "kx_GetLastErrorNumber(): context %d does not exist", nullptr};
constexpr ExportFrame kGetLastErrorText = {"kx_GetLastErrorText",
                                           "kx_GetLastErrorText(): context %d does not exist", nullptr};
constexpr ExportFrame kInit = {"kx_Init", "kx_Init(): context %d does not exist", nullptr};
constexpr ExportFrame kSetVar = {"kx_SetVar", "kx_SetVar(): context %d does not exist",
                                 "kx_SetVar() error: not initialized"};
constexpr ExportFrame kPlay = {"kx_Play", "kx_Play(): context %d does not exist",
                               "kx_Play() error: not initialized"};
constexpr ExportFrame kDisplay = {"kx_Display", "kx_Display(): context %d does not exist",
                                  "kx_Display() error: not initialized"};
constexpr ExportFrame kTakeBrowserScreenshot = {"kx_TakeBrowserScreenshot",
                                                "kx_TakeBrowserScreenshot(): context %d does not exist",
                                                "kx_GetLastExtract() error: not initialized"};
constexpr ExportFrame kGetLastExtract = {"kx_GetLastExtract",
                                         "kx_GetLastExtract(): context %d does not exist",
                                         "kx_GetLastExtract() error: not initialized"};
constexpr ExportFrame kGetPerformance = {"kx_GetPerformance",
                                         "kx_GetPerofrmance(): context %d does not exist",
                                         "kx_GetPerformance() error: no browser instance object"};
constexpr ExportFrame kGetLastPerformance = {"kx_GetLastPerformance",
                                             "kx_GetLastPerformance(): context %d does not exist",
                                             "kx_GetLastExtract() error: not initialized"};
constexpr ExportFrame kGetBrowserProcessId = {"kx_GetBrowserProcessId",
                                              "kx_GetBrowserProcessId(): context %d does not exist",
                                              "kx_GetBrowserProcessId() error: not initialized",
                                              {0, 0, 0}};
constexpr ExportFrame kExit = {"kx_Exit", "kx_Exit(): context %d does not exist",
                               "kx_Exit() error: not initialized"};

int resultOf(bool succeeded) {
  return succeeded ? KX_OK : KX_FAILED;
}

const char* textForLog(const char* text) {
  return text != nullptr ? text : "(null)";
}

template <typename Text>
int copyTextResult(const Text& text, char* buffer, int size) {
  return copyOut(text, buffer, size) == CopyOut::TooSmall ? KX_FAILED : sizeWithTerminator(text);
}

// Copies one of the two texts of kx_GetLastPerformance. The size is written back only when it was asked for.
int copyPerformanceText(std::string_view text, char* buffer, int* size) {
  switch (copyOut(text, buffer, *size)) {
    case CopyOut::SizeAsked:
      *size = sizeWithTerminator(text);
      return KX_OK;
    case CopyOut::Copied:
      return KX_OK;
    case CopyOut::TooSmall:
      break;
  }
  return KX_BUFFER_TOO_SMALL;
}

}  // namespace

}  // namespace kx

// The exports are C functions.
using namespace kx;  // NOLINT(google-build-using-namespace)

int kx_ContextCreate(void) {
  return guarded("kx_ContextCreate", KX_FAILED, [] { return createContext().value_or(KX_FAILED); });
}

void kx_ContextDestroy(int context) {
  guarded("kx_ContextDestroy", KX_FAILED, [&] {
    destroyContext(context);
    return KX_OK;
  });
}

int kx_GetLastErrorNumber(int context) {
  return withContext(kGetLastErrorNumber, context, {}, [](const ContextRecord& record) {
    const int number = errorNumber(record);
    // Success is 1 and every failure negative, whatever sign the extension or Windows gave it.
    return number == kErrorSuccess || number < 0 ? number : -number;
  });
}

int kx_GetLastErrorText(int context, char* buffer, int size) {
  return withContext(kGetLastErrorText, context, {}, [&](const ContextRecord& record) {
    return copyTextResult(errorText(record), buffer, size);
  });
}

int kx_Init(int context, const char* browser, const char* options, const char* browserPath, int port,
            int openNewBrowser, int timeout) {
  return withContext(kInit, context, {{"browser", browser}}, [&](ContextRecord& record) {
    __loginf(
        "kx_Init start, browser = %s, options = %s, binary_location = %s, port = %d, openNewBrowser = %d, "
        "timeout = %d",
        browser, textForLog(options), textForLog(browserPath), port, openNewBrowser, timeout);
    if (port != 0) {
      __logerr("TCP protocol is no longer supported");
      return KX_FAILED;
    }
    const StartRequest request = {browser, parseOptions(options), browserPath, openNewBrowser != 0,
                                  timeoutFromHost(timeout)};
    return startBrowser(record, request);
  });
}

int kx_SetVar(int context, const char* name, const char* value) {
  return withBrowser(kSetVar, context, {{"name", name}, {"value", value}}, [&](const ContextRecord& record) {
    return resultOf(record.instance->setVariable(name, value));
  });
}

int kx_Play(int context, const char* macro, int timeout) {
  return withBrowser(kPlay, context, {{"macro", macro}}, [&](const ContextRecord& record) {
    return resultOf(record.instance->play(macro, timeoutFromHost(timeout)));
  });
}

int kx_Display(int context, const char* message, int timeout) {
  return withBrowser(kDisplay, context, {{"message", message}}, [&](const ContextRecord& record) {
    return resultOf(record.instance->display(message, timeoutFromHost(timeout)));
  });
}

int kx_TakeBrowserScreenshot(int context, const char* path, int type, int timeout) {
  return withBrowser(kTakeBrowserScreenshot, context, {{"path", path}}, [&](const ContextRecord& record) {
    return resultOf(record.instance->capture(path, type, timeoutFromHost(timeout)));
  });
}

int kx_GetLastExtract(int context, char* buffer, int size, int index) {
  return withBrowser(kGetLastExtract, context, {}, [&](const ContextRecord& record) {
    const JoinedText text = record.instance->extract(index);
    const int result = copyTextResult(text, buffer, size);
    return text.size() == 0 && result != KX_FAILED ? 0 : result;
  });
}

int kx_GetPerformance(int context, char* buffer, int size) {
  return withBrowser(kGetPerformance, context, {}, [&](const ContextRecord& record) {
    return copyTextResult(record.instance->profilerData(), buffer, size);
  });
}

int kx_GetLastPerformance(int context, int index, char* name, int* nameSize, char* value, int* valueSize) {
  return withBrowser(kGetLastPerformance, context, {}, [&](const ContextRecord& record) {
    if (nameSize == nullptr || valueSize == nullptr) {
      return KX_FAILED;
    }
    const PerformanceEntry* entry = record.instance->performanceEntry(index);
    if (entry == nullptr) {
      return KX_FAILED;
    }
    const int result = copyPerformanceText(entry->name, name, nameSize);
    return result == KX_OK ? copyPerformanceText(entry->value, value, valueSize) : result;
  });
}

int kx_GetBrowserProcessId(int context) {
  return withBrowser(kGetBrowserProcessId, context, {}, [](const ContextRecord& record) {
    return static_cast<int>(record.instance->browserProcessId());
  });
}

int kx_Exit(int context, int timeout) {
  return withBrowser(kExit, context, {}, [&](ContextRecord& record) {
    // Whatever became of the browser, the context is free again.
    terminateAndWait(*record.instance, timeoutFromHost(timeout));
    record.instance.reset();
    return KX_OK;
  });
}
