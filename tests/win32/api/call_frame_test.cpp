// The frame around every export: what it checks, in which order, what it logs, and that nothing leaves it but
// a result.
#include "api/win32/call_frame.h"

#include "support/fake_browser.h"
#include "support/win32/log_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace kx {

namespace {

constexpr ExportFrame kFrame = {"kx_Test", "kx_Test(): context %d does not exist",
                                "kx_Test() error: not initialized"};
constexpr ExportFrame kOddFrame = {"kx_Odd", "kx_Odd: no context %d", "kx_Odd: no browser", {10, 20, 30}};

class CallFrame : public testing::Test {
 protected:
  CallFrame() { openContextRegistry(); }
  ~CallFrame() override {
    if (ContextRecord* record = lookupContext(0)) {
      record->instance.reset();
    }
    closeContextRegistry(false);
  }

  int createWithBrowser() {
    const int context = *createContext();
    lookupContext(context)->instance = std::make_unique<FakeBrowser>();
    return context;
  }

  LogFile log;
};

int unexpected(const ContextRecord&) {
  ADD_FAILURE() << "the body was run";
  return 99;
}

TEST_F(CallFrame, TheFrameRunsItsBodyOnTheRecord) {
  const int context = createWithBrowser();
  const auto body = [&](ContextRecord& record) {
    EXPECT_EQ(&record, lookupContext(context));
    return 42;
  };
  EXPECT_EQ(withContext(kFrame, context, {}, body), 42);
  EXPECT_EQ(withBrowser(kFrame, context, {{"macro", "text"}, {"other", ""}}, body), 42);
  EXPECT_EQ(log.text(), "");
}

TEST_F(CallFrame, AContextThatDoesNotExistIsLoggedAndGivesMinusFive) {
  EXPECT_EQ(withContext(kFrame, 0, {}, unexpected), -5);
  EXPECT_EQ(withBrowser(kFrame, -1, {}, unexpected), -5);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .error("kx_Test(): context 0 does not exist")
                            .error("kx_Test(): context -1 does not exist")
                            .text());
}

TEST_F(CallFrame, AMissingBrowserIsLoggedAndGivesMinusOne) {
  const int context = *createContext();
  EXPECT_EQ(withBrowser(kFrame, context, {}, unexpected), -1);
  EXPECT_EQ(log.text(), ExpectedLog().error("kx_Test() error: not initialized").text());
}

TEST_F(CallFrame, TheFirstNullTextIsLoggedByTheNameOfItsArgumentAndGivesMinusOne) {
  const int context = createWithBrowser();
  EXPECT_EQ(withBrowser(kFrame, context, {{"name", "given"}, {"value", nullptr}}, unexpected), -1);
  EXPECT_EQ(withBrowser(kFrame, context, {{"name", nullptr}, {"value", nullptr}}, unexpected), -1);
  EXPECT_EQ(withContext(kFrame, context, {{"browser", nullptr}}, unexpected), -1);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .error("kx_Test() error: argument value is null")
                            .error("kx_Test() error: argument name is null")
                            .error("kx_Test() error: argument browser is null")
                            .text());
}

TEST_F(CallFrame, TheFrameChecksTheContextBeforeTheBrowserBeforeTheTexts) {
  EXPECT_EQ(withBrowser(kFrame, 0, {{"macro", nullptr}}, unexpected), -5);
  EXPECT_EQ(withContext(kFrame, 5, {{"browser", nullptr}}, unexpected), -5);
  createContext();
  EXPECT_EQ(withBrowser(kFrame, 0, {{"macro", nullptr}}, unexpected), -1);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .error("kx_Test(): context 0 does not exist")
                            .error("kx_Test(): context 5 does not exist")
                            .error("kx_Test() error: not initialized")
                            .text());
}

TEST_F(CallFrame, EveryExportMayHaveResultsOfItsOwn) {
  EXPECT_EQ(withBrowser(kOddFrame, 0, {}, unexpected), 10);
  createContext();
  EXPECT_EQ(withBrowser(kOddFrame, 0, {}, unexpected), 20);
  EXPECT_EQ(withContext(kOddFrame, 0, {{"text", nullptr}}, unexpected), 20);
  EXPECT_EQ(withContext(kOddFrame, 0, {}, [](ContextRecord&) -> int { throw std::bad_alloc(); }), 30);
}

TEST_F(CallFrame, AnExceptionBecomesAFailureAndIsLogged) {
  const int context = createWithBrowser();
  const auto fail = [](ContextRecord&) -> int { throw std::runtime_error("too bad"); };
  EXPECT_EQ(withBrowser(kFrame, context, {}, fail), -1);
  EXPECT_EQ(withContext(kFrame, context, {}, [](ContextRecord&) -> int { throw 7; }), -1);
  EXPECT_EQ(guarded("kx_Test", -1, []() -> int { throw std::runtime_error("100%d %s"); }), -1);
  EXPECT_EQ(guarded("kx_Test", -1, [] { return 3; }), 3);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .error("kx_Test() error: caught exception: too bad")
                            .error("kx_Test() error: caught exception: unknown exception")
                            .error("kx_Test() error: caught exception: 100%d %s")
                            .text());
}

}  // namespace

}  // namespace kx
