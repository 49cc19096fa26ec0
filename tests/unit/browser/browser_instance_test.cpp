#include "browser/browser_instance.h"

#include "support/fake_browser.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <limits>

namespace kx {

namespace {

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();

constexpr char kEverything[] = R"({"status":"OK","errorCode":1,"extractData":["one","two","three"],
  "lastPerformance":[{"name":"n1","value":"v1"},{"name":"n2","value":"v2"}],"waitForProcessId":77,"profilerData":"data"})";

std::string entryText(const PerformanceEntry* entry) {
  return entry != nullptr ? std::string(entry->name) + "=" + std::string(entry->value) : "none";
}

// What the last play and the responses since have left, in one line.
std::string left(const FakeBrowser& browser) {
  std::string text = browser.extract(0).toString();
  for (int index = 1; browser.performanceEntry(index) != nullptr; ++index) {
    text += " " + entryText(browser.performanceEntry(index));
  }
  return text + " profiler '" + std::string(browser.profilerData()) + "' wait " +
         std::to_string(browser.waitForProcessId());
}

std::string playText(const std::string& source, const MacroVariables& variables, bool useProfiler = false) {
  return requestText(playRequest(source, variables, useProfiler));
}

TEST(BrowserInstance, AFreshOneKnowsItsTypeAndNothingElseAtFirst) {
  const FakeBrowser browser("cr");

  EXPECT_EQ(browser.browserType(), "cr");
  EXPECT_EQ(browser.errorNumber(), 0);
  EXPECT_EQ(browser.errorText(), "");
  EXPECT_EQ(left(browser), " profiler '' wait 0");
  EXPECT_EQ(browser.browserProcessId(), 0U);
  EXPECT_TRUE(browser.isResponseIncomplete());
}

TEST(BrowserInstance, TheTypesAndNumbersThatHostsKnowAreFixed) {
  EXPECT_STREQ(kFirefox, "fx");
  EXPECT_STREQ(kChrome, "cr");
  EXPECT_EQ(kErrorSuccess, 1);
  EXPECT_EQ(kErrorGeneral, -1);
  EXPECT_EQ(kErrorTimeout, -3);
  EXPECT_EQ(kErrorProfileInUse, -4);
}

TEST(BrowserInstance, KeepsTheErrorOfAFailureAndTheProcessThatTheLaunchSets) {
  FakeBrowser browser;

  browser.fail(-3, "Failed to establish connection");
  browser.setBrowserProcessId(4294967295U);

  EXPECT_EQ(browser.errorNumber(), -3);
  EXPECT_EQ(browser.errorText(), "Failed to establish connection");
  EXPECT_EQ(browser.browserProcessId(), 4294967295U);
}

TEST(BrowserInstance, TheProcessToWaitForComesFromTheResponseAndCanBeCleared) {
  FakeBrowser browser;
  browser.receive(R"({"waitForProcessId":77})");
  EXPECT_EQ(browser.waitForProcessId(), 77U);

  browser.clearWaitForProcessId();

  EXPECT_EQ(browser.waitForProcessId(), 0U);
  EXPECT_EQ(browser.browserProcessId(), 0U);
}

// ---- operations ----

TEST(BrowserInstance, EachOperationSendsItsRequestWithItsTimeout) {
  const LogCapture log;
  FakeBrowser browser;

  EXPECT_TRUE(browser.initialise(true, false, 12));
  EXPECT_TRUE(browser.initialise(false, true, 0));
  EXPECT_TRUE(browser.display("50 % \"done\"", 7));
  EXPECT_TRUE(browser.play("URL GOTO=x", 30));

  const std::vector<FakeBrowser::SentRequest> expected = {{requestText(initRequest(true, false)), 12},
                                                          {requestText(initRequest(false, true)), 0},
                                                          {requestText(showRequest("50 % \"done\"")), 7},
                                                          {playText("URL GOTO=x", {}), 30}};
  EXPECT_EQ(browser.sent, expected);
  EXPECT_EQ(log.text(), information("show message 50 % \"done\""));
}

TEST(BrowserInstance, OnlyKindOneOfACaptureAsksForTheWebPage) {
  for (const int kind : {1, 0, 2, -1, kLowest, kHighest}) {
    FakeBrowser browser;
    EXPECT_TRUE(browser.capture("C:\\p.png", kind, 9));

    const CaptureKind expected = kind == 1 ? CaptureKind::WebPage : CaptureKind::Browser;
    EXPECT_EQ(browser.sent.at(0).text, requestText(captureRequest("C:\\p.png", expected))) << kind;
    EXPECT_EQ(browser.sent.at(0).timeoutSeconds, 9);
  }
}

TEST(BrowserInstance, OperationsButPlaySucceedWhateverTheResponseSaysAndFailWithTheExchange) {
  using Operation = bool (*)(FakeBrowser&);
  for (const Operation run :
       {Operation{[](FakeBrowser& browser) { return browser.initialise(false, false, 5); }},
        Operation{[](FakeBrowser& browser) { return browser.display("m", 5); }},
        Operation{[](FakeBrowser& browser) { return browser.capture("p", 1, 5); }}}) {
    FakeBrowser browser;
    browser.answer(R"({"status":"no","errorCode":-9})");
    browser.failExchange(-3, "Error while sending request");

    EXPECT_TRUE(run(browser));
    EXPECT_EQ(browser.errorNumber(), -9);
    EXPECT_FALSE(run(browser));
    EXPECT_EQ(browser.errorNumber(), -3);
  }
}

TEST(BrowserInstance, APlaySucceedsOnlyWithErrorNumberOne) {
  for (const int number : {1, 0, -1, 2, -3, 1000}) {
    FakeBrowser browser;
    browser.answer("{\"status\":\"s\",\"errorCode\":" + std::to_string(number) + "}");

    EXPECT_EQ(browser.play("m", 5), number == 1) << number;
    EXPECT_EQ(browser.errorNumber(), number);
    EXPECT_EQ(browser.errorText(), "s");
  }
}

TEST(BrowserInstance, APlayFailsWithTheExchangeEvenWithErrorNumberOne) {
  for (const int number : {-3, 1}) {
    FakeBrowser browser;
    browser.fail(1, "an earlier success");
    browser.failExchange(number, "Error while receiving response");

    EXPECT_FALSE(browser.play("m", 5));
    EXPECT_EQ(browser.errorNumber(), number);
    EXPECT_EQ(browser.errorText(), "Error while receiving response");
  }
}

TEST(BrowserInstance, APlayListsTheVariablesSetBeforeInBytewiseOrderWithTheirLastValues) {
  FakeBrowser browser;
  EXPECT_TRUE(browser.setVariable("b", "2"));
  EXPECT_TRUE(browser.setVariable("a", "first"));
  EXPECT_TRUE(browser.setVariable("B", "3"));
  EXPECT_TRUE(browser.setVariable("a", ""));

  browser.play("m", 5);

  EXPECT_EQ(browser.sent.at(0).text, playText("m", {{"B", "3"}, {"a", ""}, {"b", "2"}}));
}

TEST(BrowserInstance, APlayConsumesTheVariablesEvenWhenTheMacroFails) {
  for (const char* answer : {R"({"errorCode":1})", R"({"errorCode":-7})"}) {
    FakeBrowser browser;
    browser.setVariable("a", "1");
    browser.answer(answer);

    browser.play("m", 5);
    browser.play("m", 5);

    EXPECT_EQ(browser.sent.at(1).text, playText("m", {})) << answer;
  }
}

TEST(BrowserInstance, APlayKeepsTheVariablesWhenTheExchangeFailsAndThroughOtherRequests) {
  FakeBrowser browser;
  browser.setVariable("a", "1");
  browser.failExchange(-1, "x");

  browser.play("m", 5);
  browser.initialise(false, false, 5);
  browser.display("m", 5);
  browser.capture("p", 1, 5);
  browser.setVariable("b", "2");
  browser.play("m", 5);

  EXPECT_EQ(browser.sent.at(4).text, playText("m", {{"a", "1"}, {"b", "2"}}));
}

TEST(BrowserInstance, TheProfilerStaysSwitchedOn) {
  FakeBrowser browser;
  browser.setUseProfiler(true);

  browser.play("m", 5);
  browser.play("n", 5);

  EXPECT_EQ(browser.sent.at(0).text, playText("m", {}, true));
  EXPECT_EQ(browser.sent.at(1).text, playText("n", {}, true));
}

TEST(BrowserInstance, APlayReplacesWhatThePlayBeforeItLeft) {
  FakeBrowser browser;
  browser.answer(kEverything);
  browser.answer(R"({"errorCode":-7,"extractData":["new"],"lastPerformance":[{"name":"n"}]})");
  browser.play("m", 5);
  EXPECT_EQ(left(browser), "one[EXTRACT]two[EXTRACT]three n1=v1 n2=v2 profiler 'data' wait 77");

  // A macro that fails leaves what it brought all the same.
  EXPECT_FALSE(browser.play("m", 5));

  EXPECT_EQ(left(browser), "new n= profiler '' wait 0");
}

TEST(BrowserInstance, AFailedPlayLeavesNothingOfTheOneBeforeItButTheProcessToWaitFor) {
  FakeBrowser browser;
  browser.answer(kEverything);
  browser.play("m", 5);
  browser.failExchange(-3, "x");

  browser.play("m", 5);

  EXPECT_EQ(left(browser), " profiler '' wait 77");
}

TEST(BrowserInstance, OtherResponsesAddToWhatAPlayLeft) {
  FakeBrowser browser;
  browser.answer(kEverything);
  browser.play("m", 5);
  browser.answer(R"({"errorCode":1,"extractData":["four"],"lastPerformance":[{"name":"n3","value":"v3"}]})");

  browser.display("m", 5);

  EXPECT_EQ(left(browser), "one[EXTRACT]two[EXTRACT]three[EXTRACT]four n1=v1 n2=v2 n3=v3 profiler '' wait 0");
}

// ---- what a play leaves ----

TEST(BrowserInstance, ExtractsOfIndexZeroAndMinusOneAreAllJoinedFromOneUpEachIsOneAndAnyOtherIsEmpty) {
  struct Case {
    int index;
    const char* none;
    const char* one;
    const char* empties;
    const char* three;
  };
  FakeBrowser none;
  FakeBrowser one;
  FakeBrowser empties;
  FakeBrowser three;
  one.receive(R"({"extractData":["x"]})");
  empties.receive(R"({"extractData":["",""]})");
  three.receive(kEverything);
  for (const Case& c :
       {Case{0, "", "x", "[EXTRACT]", "one[EXTRACT]two[EXTRACT]three"},
        Case{-1, "", "x", "[EXTRACT]", "one[EXTRACT]two[EXTRACT]three"}, Case{1, "", "x", "", "one"},
        Case{2, "", "", "", "two"}, Case{3, "", "", "", "three"}, Case{4, "", "", "", ""},
        Case{-2, "", "", "", ""}, Case{kLowest, "", "", "", ""}, Case{kHighest, "", "", "", ""}}) {
    SCOPED_TRACE(c.index);
    EXPECT_EQ(none.extract(c.index).toString(), c.none);
    EXPECT_EQ(one.extract(c.index).toString(), c.one);
    EXPECT_EQ(empties.extract(c.index).toString(), c.empties);
    EXPECT_EQ(three.extract(c.index).toString(), c.three);
  }
}

TEST(BrowserInstance, PerformanceEntriesAreCountedFromOneAndAnyOtherIndexGivesNone) {
  FakeBrowser browser;
  browser.receive(kEverything);

  EXPECT_EQ(entryText(browser.performanceEntry(1)), "n1=v1");
  EXPECT_EQ(entryText(browser.performanceEntry(2)), "n2=v2");
  for (const int index : {0, -1, 3, kHighest, kLowest}) {
    EXPECT_EQ(browser.performanceEntry(index), nullptr) << index;
  }
}

}  // namespace

}  // namespace kx
