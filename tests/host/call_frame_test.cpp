// What every export does before its own work: it refuses numbers without a context, contexts without a
// browser, and null texts, in this order, each with one error entry.
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
  std::string noContextName;          // as the export calls itself in the log
  std::string notInitialisedMessage;  // empty for exports that need no browser
  int noContextResult = KX_NO_CONTEXT;
  int notInitialisedResult = KX_FAILED;
};

void PrintTo(const ExportCall& call, std::ostream* stream) {
  *stream << call.name;
}

std::vector<ExportCall> everyExport() {
  static char buffer[16];
  static int size = sizeof(buffer);
  return {
      {"kx_GetLastErrorNumber", [](const KxExports& dll, int c) { return dll.kx_GetLastErrorNumber(c); },
       "kx_GetLastErrorNumber", ""},
      {"kx_GetLastErrorText",
       [](const KxExports& dll, int c) { return dll.kx_GetLastErrorText(c, buffer, size); },
       "kx_GetLastErrorText", ""},
      {"kx_Init", [](const KxExports& dll, int c) { return dll.kx_Init(c, "fx", "", nullptr, 1, 0, 1); },
       "kx_Init", ""},
      {"kx_SetVar", [](const KxExports& dll, int c) { return dll.kx_SetVar(c, "name", "value"); },
       "kx_SetVar", "kx_SetVar() error: not initialized"},
      {"kx_Play", [](const KxExports& dll, int c) { return dll.kx_Play(c, "macro", 1); }, "kx_Play",
       "kx_Play() error: not initialized"},
      {"kx_Display", [](const KxExports& dll, int c) { return dll.kx_Display(c, "message", 1); },
       "kx_Display", "kx_Display() error: not initialized"},
      {"kx_TakeBrowserScreenshot",
       [](const KxExports& dll, int c) { return dll.kx_TakeBrowserScreenshot(c, "path", 1, 1); },
       "kx_TakeBrowserScreenshot", "kx_GetLastExtract() error: not initialized"},
      {"kx_GetLastExtract",
       [](const KxExports& dll, int c) { return dll.kx_GetLastExtract(c, buffer, size, 1); },
       "kx_GetLastExtract", "kx_GetLastExtract() error: not initialized"},
      {"kx_GetPerformance",
       [](const KxExports& dll, int c) { return dll.kx_GetPerformance(c, buffer, size); },
       "kx_GetPerofrmance", "kx_GetPerformance() error: no browser instance object"},
      {"kx_GetLastPerformance",
       [](const KxExports& dll, int c) {
         return dll.kx_GetLastPerformance(c, 1, nullptr, &size, nullptr, &size);
       },
       "kx_GetLastPerformance", "kx_GetLastExtract() error: not initialized"},
      {"kx_GetBrowserProcessId", [](const KxExports& dll, int c) { return dll.kx_GetBrowserProcessId(c); },
       "kx_GetBrowserProcessId", "kx_GetBrowserProcessId() error: not initialized", 0, 0},
      {"kx_Exit", [](const KxExports& dll, int c) { return dll.kx_Exit(c, 1); }, "kx_Exit",
       "kx_Exit() error: not initialized"},
      {"kxr_Init", [](const KxExports& dll, int c) { return dll.kxr_Init(c, "fx", "", 0, 1); }, "kxr_Init",
       ""},
      {"kxr_Exit", [](const KxExports& dll, int c) { return dll.kxr_Exit(c, 1); }, "kxr_Exit",
       "kxr_Exit() error: not initialized"},
  };
}

std::vector<ExportCall> exportsThatNeedABrowser() {
  std::vector<ExportCall> calls = everyExport();
  std::erase_if(calls, [](const ExportCall& call) { return call.notInitialisedMessage.empty(); });
  return calls;
}

std::string nameOfCall(const ::testing::TestParamInfo<ExportCall>& info) {
  return info.param.name;
}

class EveryExport : public HostTest, public ::testing::WithParamInterface<ExportCall> {
 protected:
  int call(int context) const { return GetParam().call(dll, context); }

  // The call is refused, and one error entry says so, in the file and to the debugger.
  void expectNoContext(int context) {
    log.clear();
    debugger.clear();
    const std::string message =
        GetParam().noContextName + "(): context " + std::to_string(context) + " does not exist";

    EXPECT_EQ(call(context), GetParam().noContextResult) << context;

    EXPECT_EQ(log.text(), ExpectedLog().error(message).text());
    EXPECT_EQ(debugger.lines(), std::vector<std::string>{errorLine(message)});
  }

  DebuggerLines debugger;
};

TEST_P(EveryExport, RefusesANegativeContext) {
  expectNoContext(-1);
}

TEST_P(EveryExport, RefusesTheSmallestAndTheLargestNumber) {
  expectNoContext(INT_MIN);
  expectNoContext(INT_MAX);
}

TEST_P(EveryExport, RefusesAContextThatWasNeverCreated) {
  expectNoContext(0);
  ASSERT_EQ(dll.kx_ContextCreate(), 0);
  expectNoContext(1);
  expectNoContext(255);
  expectNoContext(256);
}

TEST_P(EveryExport, RefusesAContextThatWasDestroyed) {
  const int context = dll.kx_ContextCreate();
  dll.kx_ContextDestroy(context);

  expectNoContext(context);
}

INSTANTIATE_TEST_SUITE_P(Export, EveryExport, ::testing::ValuesIn(everyExport()), nameOfCall);

class ExportThatNeedsABrowser : public EveryExport {};

TEST_P(ExportThatNeedsABrowser, RefusesAContextWithoutOne) {
  const int context = dll.kx_ContextCreate();

  EXPECT_EQ(call(context), GetParam().notInitialisedResult);

  EXPECT_EQ(log.text(), ExpectedLog().error(GetParam().notInitialisedMessage).text());
  EXPECT_EQ(debugger.lines(), std::vector<std::string>{errorLine(GetParam().notInitialisedMessage)});
}

TEST_P(ExportThatNeedsABrowser, LeavesTheContextsErrorAloneWhenItRefuses) {
  const int context = dll.kx_ContextCreate();

  call(context);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 0);
  EXPECT_EQ(dll.lastErrorText(context), "");
}

TEST_P(ExportThatNeedsABrowser, RefusesAContextWhoseBrowserHasExited) {
  FakeExtension extension(defaultPipe());
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
  log.clear();

  EXPECT_EQ(call(context), GetParam().notInitialisedResult);

  EXPECT_EQ(log.text(), ExpectedLog().error(GetParam().notInitialisedMessage).text());
}

INSTANTIATE_TEST_SUITE_P(Export, ExportThatNeedsABrowser, ::testing::ValuesIn(exportsThatNeedABrowser()),
                         nameOfCall);

// An export called with a null text where it needs one; everything else is in order.
struct NullCall {
  std::string name;
  std::function<int(const KxExports&, int context)> call;
  std::string message;
  std::string exportName;
};

void PrintTo(const NullCall& call, std::ostream* stream) {
  *stream << call.name;
}

std::vector<NullCall> nullTextsThatNeedABrowser() {
  return {
      {"SetVarName", [](const KxExports& dll, int c) { return dll.kx_SetVar(c, nullptr, "value"); },
       "kx_SetVar() error: argument name is null", "kx_SetVar"},
      {"SetVarValue", [](const KxExports& dll, int c) { return dll.kx_SetVar(c, "name", nullptr); },
       "kx_SetVar() error: argument value is null", "kx_SetVar"},
      {"SetVarBoth", [](const KxExports& dll, int c) { return dll.kx_SetVar(c, nullptr, nullptr); },
       "kx_SetVar() error: argument name is null", "kx_SetVar"},
      {"PlayMacro", [](const KxExports& dll, int c) { return dll.kx_Play(c, nullptr, 1); },
       "kx_Play() error: argument macro is null", "kx_Play"},
      {"DisplayMessage", [](const KxExports& dll, int c) { return dll.kx_Display(c, nullptr, 1); },
       "kx_Display() error: argument message is null", "kx_Display"},
      {"ScreenshotPath",
       [](const KxExports& dll, int c) { return dll.kx_TakeBrowserScreenshot(c, nullptr, 1, 1); },
       "kx_TakeBrowserScreenshot() error: argument path is null", "kx_TakeBrowserScreenshot"},
  };
}

std::string nameOfNull(const ::testing::TestParamInfo<NullCall>& info) {
  return info.param.name;
}

class NullText : public AttachedHostTest, public ::testing::WithParamInterface<NullCall> {};

TEST_P(NullText, IsRefusedWithOneEntryThatNamesExportAndArgument) {
  EXPECT_EQ(GetParam().call(dll, context), KX_FAILED);

  EXPECT_EQ(log.text(), ExpectedLog().error(GetParam().message).text());
}

TEST_P(NullText, ChangesNothing) {
  extension.answers(
      "{\"status\":\"seven\",\"errorCode\":7,\"extractData\":[\"one\"],\"profilerData\":\"profile\","
      "\"lastPerformance\":[{\"name\":\"n\",\"value\":\"v\"}]}");
  ASSERT_EQ(dll.kx_Play(context, "first", 5), KX_FAILED);
  ASSERT_EQ(dll.kx_SetVar(context, "kept", "1"), KX_OK);

  ASSERT_EQ(GetParam().call(dll, context), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -7);
  EXPECT_EQ(dll.lastErrorText(context), "seven");
  EXPECT_EQ(dll.extract(context, 0), "one");
  EXPECT_EQ(dll.profilerData(context), "profile");
  int nameSize = 0;
  int valueSize = 0;
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, nullptr, &nameSize, nullptr, &valueSize), KX_OK);
  EXPECT_EQ(extension.requests().size(), 2U);
  ASSERT_EQ(dll.kx_Play(context, "second", 5), KX_OK);
  EXPECT_EQ(extension.requests().back(), playRequest("second", "{\n   \"kept\" : \"1\"\n  }"));
}

TEST_P(NullText, IsNoticedAfterAMissingBrowser) {
  const int empty = dll.kx_ContextCreate();
  const std::string& name = GetParam().exportName;

  EXPECT_EQ(GetParam().call(dll, empty), KX_FAILED);

  const std::string named = name == "kx_TakeBrowserScreenshot" ? "kx_GetLastExtract" : name;
  EXPECT_EQ(log.text(), ExpectedLog().error(named + "() error: not initialized").text());
}

TEST_P(NullText, IsNoticedAfterAMissingContext) {
  EXPECT_EQ(GetParam().call(dll, 99), KX_NO_CONTEXT);

  EXPECT_EQ(log.text(), ExpectedLog().error(GetParam().exportName + "(): context 99 does not exist").text());
}

INSTANTIATE_TEST_SUITE_P(Argument, NullText, ::testing::ValuesIn(nullTextsThatNeedABrowser()), nameOfNull);

class NullBrowserOfInit : public HostTest {};

TEST_F(NullBrowserOfInit, IsRefusedBeforeTheStartIsLogged) {
  const int context = dll.kx_ContextCreate();

  EXPECT_EQ(dll.kx_Init(context, nullptr, "-fxProfile work", "C:\\browser.exe", 0, 0, 1), KX_FAILED);

  EXPECT_EQ(log.text(), ExpectedLog().error("kx_Init() error: argument browser is null").text());
}

TEST_F(NullBrowserOfInit, IsRefusedBeforeThePort) {
  const int context = dll.kx_ContextCreate();

  EXPECT_EQ(dll.kx_Init(context, nullptr, nullptr, nullptr, 1, 0, 1), KX_FAILED);

  EXPECT_EQ(log.text(), ExpectedLog().error("kx_Init() error: argument browser is null").text());
}

TEST_F(NullBrowserOfInit, IsNoticedAfterAMissingContext) {
  EXPECT_EQ(dll.kx_Init(0, nullptr, nullptr, nullptr, 1, 0, 1), KX_NO_CONTEXT);

  EXPECT_EQ(log.text(), ExpectedLog().error("kx_Init(): context 0 does not exist").text());
}

TEST_F(NullBrowserOfInit, LeavesTheContextAsItWas) {
  FakeExtension extension(defaultPipe());
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  ASSERT_EQ(dll.kx_Init(context, nullptr, nullptr, nullptr, 0, 0, 30), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 1);
  EXPECT_EQ(dll.kx_Play(context, "still there", 5), KX_OK);
  EXPECT_EQ(extension.requests().size(), 2U);
}

}  // namespace
