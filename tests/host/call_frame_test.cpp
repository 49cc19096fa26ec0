// What every export does before its own work: it refuses numbers without a context, contexts without a
// browser, and null texts, each with one error entry in its own words.
#include "host/host_test.h"
#include "support/win32/debugger_lines.h"

#include <climits>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace {

// One export, called with arguments that are all in order.
struct ExportCall {
  std::string name;
  std::function<int(const KxExports&, int context)> call;
  std::string notInitialisedMessage = {};  // empty for exports that need no browser
  int noContextResult = KX_NO_CONTEXT;
  int notInitialisedResult = KX_FAILED;
};

void PrintTo(const ExportCall& call, std::ostream* stream) {
  *stream << call.name;
}

std::vector<ExportCall> everyExport() {
  static char buffer[16];
  static int size = sizeof(buffer);
  using Dll = const KxExports&;
  return {
      {"kx_GetLastErrorNumber", [](Dll dll, int c) { return dll.kx_GetLastErrorNumber(c); }},
      {"kx_GetLastErrorText", [](Dll dll, int c) { return dll.kx_GetLastErrorText(c, buffer, size); }},
      {"kx_Init", [](Dll dll, int c) { return dll.kx_Init(c, "fx", "", nullptr, 1, 0, 1); }},
      {"kx_SetVar", [](Dll dll, int c) { return dll.kx_SetVar(c, "name", "value"); },
       "kx_SetVar() error: not initialized"},
      {"kx_Play", [](Dll dll, int c) { return dll.kx_Play(c, "macro", 1); },
       "kx_Play() error: not initialized"},
      {"kx_Display", [](Dll dll, int c) { return dll.kx_Display(c, "message", 1); },
       "kx_Display() error: not initialized"},
      {"kx_TakeBrowserScreenshot",
       [](Dll dll, int c) { return dll.kx_TakeBrowserScreenshot(c, "path", 1, 1); },
       "kx_GetLastExtract() error: not initialized"},
      {"kx_GetLastExtract", [](Dll dll, int c) { return dll.kx_GetLastExtract(c, buffer, size, 1); },
       "kx_GetLastExtract() error: not initialized"},
      {"kx_GetPerofrmance", [](Dll dll, int c) { return dll.kx_GetPerformance(c, buffer, size); },
       "kx_GetPerformance() error: no browser instance object"},
      {"kx_GetLastPerformance",
       [](Dll dll, int c) { return dll.kx_GetLastPerformance(c, 1, nullptr, &size, nullptr, &size); },
       "kx_GetLastExtract() error: not initialized"},
      {"kx_GetBrowserProcessId", [](Dll dll, int c) { return dll.kx_GetBrowserProcessId(c); },
       "kx_GetBrowserProcessId() error: not initialized", 0, 0},
      {"kx_Exit", [](Dll dll, int c) { return dll.kx_Exit(c, 1); }, "kx_Exit() error: not initialized"},
      {"kxr_Init", [](Dll dll, int c) { return dll.kxr_Init(c, "fx", "", 0, 1); }},
      {"kxr_Exit", [](Dll dll, int c) { return dll.kxr_Exit(c, 1); }, "kxr_Exit() error: not initialized"},
  };
}

class EveryExport : public HostTest, public ::testing::WithParamInterface<ExportCall> {};

TEST_P(EveryExport, AnExportRefusesANumberWithoutAContextWithOneErrorEntry) {
  dll.kx_ContextDestroy(dll.kx_ContextCreate());

  for (const int context : {-1, INT_MIN, INT_MAX, 0, 255, 256}) {
    const DebuggerLines debugger;
    log.clear();
    const std::string message =
        GetParam().name + "(): context " + std::to_string(context) + " does not exist";

    EXPECT_EQ(GetParam().call(dll, context), GetParam().noContextResult) << context;

    expectLog(HostLog().error(message));
    EXPECT_EQ(debugger.lines(), std::vector<std::string>{errorLine(message)});
  }
}

TEST_P(EveryExport, AnExportRefusesAContextWithoutTheBrowserThatItNeedsAndLeavesTheErrorAlone) {
  const int context = dll.kx_ContextCreate();
  if (GetParam().notInitialisedMessage.empty()) {
    return;
  }

  EXPECT_EQ(GetParam().call(dll, context), GetParam().notInitialisedResult);

  expectLog(HostLog().error(GetParam().notInitialisedMessage));
  expectError(context, 0, "");
}

INSTANTIATE_TEST_SUITE_P(Export, EveryExport, ::testing::ValuesIn(everyExport()),
                         [](const auto& test) { return test.param.name; });

class NullText : public AttachedHostTest {};

TEST_F(NullText, ANullTextIsRefusedWithOneEntryThatNamesExportAndArgumentAndChangesNothing) {
  playAnswered(R"({"status":"seven","errorCode":7,"extractData":["one"],"profilerData":"profile",)"
               R"("lastPerformance":[{"name":"n","value":"v"}]})");
  ASSERT_EQ(dll.kx_SetVar(context, "kept", "1"), KX_OK);
  log.clear();

  EXPECT_EQ(dll.kx_SetVar(context, nullptr, "value"), KX_FAILED);
  EXPECT_EQ(dll.kx_SetVar(context, "name", nullptr), KX_FAILED);
  EXPECT_EQ(dll.kx_SetVar(context, nullptr, nullptr), KX_FAILED);
  EXPECT_EQ(dll.kx_Play(context, nullptr, 1), KX_FAILED);
  EXPECT_EQ(dll.kx_Display(context, nullptr, 1), KX_FAILED);
  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, nullptr, 1, 1), KX_FAILED);
  EXPECT_EQ(dll.kx_Init(context, nullptr, "-fxProfile work", kMissing, 1, 0, 1), KX_FAILED);

  expectLog(HostLog()
                .error("kx_SetVar() error: argument name is null")
                .error("kx_SetVar() error: argument value is null")
                .error("kx_SetVar() error: argument name is null")
                .error("kx_Play() error: argument macro is null")
                .error("kx_Display() error: argument message is null")
                .error("kx_TakeBrowserScreenshot() error: argument path is null")
                .error("kx_Init() error: argument browser is null"));
  expectError(-7, "seven");
  EXPECT_EQ(dll.extract(context, 0), "one");
  EXPECT_EQ(dll.profilerData(context), "profile");
  int nameSize = 0;
  int valueSize = 0;
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, nullptr, &nameSize, nullptr, &valueSize), KX_OK);
  ASSERT_EQ(play("second"), KX_OK);
  EXPECT_EQ(extension.requests().size(), 3U);
  EXPECT_EQ(extension.requests().back(), playRequest("second", {{"kept", "1"}}));
}

}  // namespace
