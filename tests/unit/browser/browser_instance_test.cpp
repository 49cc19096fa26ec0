#include "browser/browser_instance.h"

#include "support/fake_browser.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <limits>

namespace kx {

namespace {

using Sent = std::vector<FakeBrowser::SentRequest>;

constexpr char kEverything[] = R"({"status":"OK","errorCode":1,"extractData":["one","two","three"],
  "lastPerformance":[{"name":"n1","value":"v1"},{"name":"n2","value":"v2"}],"waitForProcessId":77,"profilerData":"data"})";

std::string entryText(const PerformanceEntry* entry) {
  return entry != nullptr ? std::string(entry->name) + "=" + std::string(entry->value) : "none";
}

TEST(FreshInstance, KnowsItsTypeAndNothingElse) {
  const FakeBrowser browser("cr");

  EXPECT_EQ(browser.browserType(), "cr");
  EXPECT_EQ(browser.errorNumber(), 0);
  EXPECT_EQ(browser.errorText(), "");
  EXPECT_EQ(browser.extract(0).toString(), "");
  EXPECT_EQ(browser.performanceEntry(1), nullptr);
  EXPECT_EQ(browser.profilerData(), "");
  EXPECT_EQ(browser.browserProcessId(), 0U);
  EXPECT_EQ(browser.waitForProcessId(), 0U);
  EXPECT_TRUE(browser.isResponseIncomplete());
}

TEST(Instance, TheTypesAndNumbersThatHostsKnowAreFixed) {
  EXPECT_STREQ(kFirefox, "fx");
  EXPECT_STREQ(kChrome, "cr");
  EXPECT_EQ(kErrorSuccess, 1);
  EXPECT_EQ(kErrorGeneral, -1);
  EXPECT_EQ(kErrorTimeout, -3);
  EXPECT_EQ(kErrorProfileInUse, -4);
}

TEST(Instance, KeepsTheErrorThatAFailureLeaves) {
  FakeBrowser browser;

  browser.fail(-3, "Failed to establish connection");

  EXPECT_EQ(browser.errorNumber(), -3);
  EXPECT_EQ(browser.errorText(), "Failed to establish connection");
}

TEST(Instance, KeepsTheProcessIdThatTheLaunchSets) {
  FakeBrowser browser;

  browser.setBrowserProcessId(4294967295U);

  EXPECT_EQ(browser.browserProcessId(), 4294967295U);
}

TEST(Instance, TheWaitForProcessIdComesFromTheResponseAndCanBeCleared) {
  FakeBrowser browser;
  browser.receive(R"({"waitForProcessId":77})");
  EXPECT_EQ(browser.waitForProcessId(), 77U);

  browser.clearWaitForProcessId();

  EXPECT_EQ(browser.waitForProcessId(), 0U);
  EXPECT_EQ(browser.browserProcessId(), 0U);
}

// ---- operations ----

TEST(Initialise, SendsTheInitRequestWithTheTimeout) {
  FakeBrowser browser;

  EXPECT_TRUE(browser.initialise(true, false, 12));
  EXPECT_TRUE(browser.initialise(false, true, 0));

  EXPECT_EQ(browser.sent,
            (Sent{{requestText(initRequest(true, false)), 12}, {requestText(initRequest(false, true)), 0}}));
}

TEST(Initialise, SucceedsWhateverTheResponseSays) {
  FakeBrowser browser;
  browser.answer(R"({"status":"no","errorCode":-9})");

  EXPECT_TRUE(browser.initialise(false, false, 5));
  EXPECT_EQ(browser.errorNumber(), -9);
}

TEST(Initialise, FailsWithTheExchange) {
  FakeBrowser browser;
  browser.failExchange(-3, "Error while sending request");

  EXPECT_FALSE(browser.initialise(false, false, 5));
  EXPECT_EQ(browser.errorNumber(), -3);
}

TEST(Display, SendsTheMessageAndLogsIt) {
  const LogCapture log;
  FakeBrowser browser;

  EXPECT_TRUE(browser.display("50 % \"done\"", 7));

  EXPECT_EQ(browser.sent, (Sent{{requestText(showRequest("50 % \"done\"")), 7}}));
  EXPECT_EQ(log.text(), information("show message 50 % \"done\""));
}

TEST(Display, SucceedsWhateverTheResponseSaysAndFailsWithTheExchange) {
  FakeBrowser browser;
  browser.answer(R"({"errorCode":0})");
  browser.failExchange(-1, "x");

  EXPECT_TRUE(browser.display("m", 7));
  EXPECT_FALSE(browser.display("m", 7));
}

TEST(Capture, OnlyKindOneAsksForTheWebPage) {
  FakeBrowser browser;

  for (const int kind : {1, 0, 2, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    EXPECT_TRUE(browser.capture("C:\\p.png", kind, 9));
  }

  const FakeBrowser::SentRequest webPage{requestText(captureRequest("C:\\p.png", CaptureKind::WebPage)), 9};
  const FakeBrowser::SentRequest whole{requestText(captureRequest("C:\\p.png", CaptureKind::Browser)), 9};
  EXPECT_EQ(browser.sent, (Sent{webPage, whole, whole, whole, whole, whole}));
}

TEST(Capture, SucceedsWhateverTheResponseSaysAndFailsWithTheExchange) {
  FakeBrowser browser;
  browser.answer(R"({"errorCode":0})");
  browser.failExchange(-1, "x");

  EXPECT_TRUE(browser.capture("p", 1, 7));
  EXPECT_FALSE(browser.capture("p", 1, 7));
}

TEST(Play, SendsTheMacroWithTheTimeout) {
  FakeBrowser browser;

  EXPECT_TRUE(browser.play("URL GOTO=x", 30));

  EXPECT_EQ(browser.sent, (Sent{{requestText(playRequest("URL GOTO=x", {}, false)), 30}}));
}

TEST(Play, SucceedsOnlyWithErrorNumberOne) {
  for (const char* number : {"0", "-1", "2", "-3", "1000"}) {
    FakeBrowser browser;
    browser.answer("{\"status\":\"s\",\"errorCode\":" + std::string(number) + "}");

    EXPECT_FALSE(browser.play("m", 5)) << number;
    EXPECT_EQ(browser.errorNumber(), std::stoi(number));
    EXPECT_EQ(browser.errorText(), "s");
  }
  FakeBrowser browser;
  EXPECT_TRUE(browser.play("m", 5));
  EXPECT_EQ(browser.errorNumber(), 1);
}

TEST(Play, FailsWithTheExchange) {
  FakeBrowser browser;
  browser.fail(1, "an earlier success");
  browser.failExchange(-3, "Error while receiving response");

  EXPECT_FALSE(browser.play("m", 5));
  EXPECT_EQ(browser.errorNumber(), -3);
  EXPECT_EQ(browser.errorText(), "Error while receiving response");
}

TEST(Play, AFailedExchangeIsAFailureEvenWithErrorNumberOne) {
  FakeBrowser browser;
  browser.failExchange(1, "x");

  EXPECT_FALSE(browser.play("m", 5));
}

TEST(Play, ListsTheVariablesSetBeforeInBytewiseOrder) {
  FakeBrowser browser;

  EXPECT_TRUE(browser.setVariable("b", "2"));
  EXPECT_TRUE(browser.setVariable("a", "1"));
  EXPECT_TRUE(browser.setVariable("B", "3"));
  browser.play("m", 5);

  EXPECT_EQ(browser.sent.at(0).text,
            requestText(playRequest("m", {{"B", "3"}, {"a", "1"}, {"b", "2"}}, false)));
}

TEST(Play, AVariableThatIsSetAgainHasItsLastValue) {
  FakeBrowser browser;

  browser.setVariable("a", "first");
  EXPECT_TRUE(browser.setVariable("a", ""));
  browser.play("m", 5);

  EXPECT_EQ(browser.sent.at(0).text, requestText(playRequest("m", {{"a", ""}}, false)));
}

TEST(Play, ConsumesTheVariables) {
  FakeBrowser browser;
  browser.setVariable("a", "1");

  browser.play("m", 5);
  browser.play("m", 5);

  EXPECT_EQ(browser.sent.at(1).text, requestText(playRequest("m", {}, false)));
}

TEST(Play, ConsumesTheVariablesEvenWhenTheMacroFails) {
  FakeBrowser browser;
  browser.setVariable("a", "1");
  browser.answer(R"({"errorCode":-7})");

  EXPECT_FALSE(browser.play("m", 5));
  browser.play("m", 5);

  EXPECT_EQ(browser.sent.at(1).text, requestText(playRequest("m", {}, false)));
}

TEST(Play, KeepsTheVariablesWhenTheExchangeFails) {
  FakeBrowser browser;
  browser.setVariable("a", "1");
  browser.failExchange(-1, "x");

  browser.play("m", 5);
  browser.setVariable("b", "2");
  browser.play("m", 5);

  EXPECT_EQ(browser.sent.at(1).text, requestText(playRequest("m", {{"a", "1"}, {"b", "2"}}, false)));
}

TEST(Play, OtherRequestsDoNotConsumeTheVariables) {
  FakeBrowser browser;
  browser.setVariable("a", "1");

  browser.initialise(false, false, 5);
  browser.display("m", 5);
  browser.capture("p", 1, 5);
  browser.play("m", 5);

  EXPECT_EQ(browser.sent.at(3).text, requestText(playRequest("m", {{"a", "1"}}, false)));
}

TEST(Play, TheProfilerStaysSwitchedOn) {
  FakeBrowser browser;
  browser.setUseProfiler(true);

  browser.play("m", 5);
  browser.play("n", 5);

  EXPECT_EQ(browser.sent.at(0).text, requestText(playRequest("m", {}, true)));
  EXPECT_EQ(browser.sent.at(1).text, requestText(playRequest("n", {}, true)));
}

TEST(Play, ReplacesWhatThePlayBeforeItLeft) {
  FakeBrowser browser;
  browser.answer(kEverything);
  browser.answer(
      R"({"status":"OK","errorCode":1,"extractData":["new"],"lastPerformance":[{"name":"n","value":"v"}]})");
  browser.play("m", 5);

  browser.play("m", 5);

  EXPECT_EQ(browser.extract(0).toString(), "new");
  EXPECT_EQ(entryText(browser.performanceEntry(1)), "n=v");
  EXPECT_EQ(browser.performanceEntry(2), nullptr);
  EXPECT_EQ(browser.profilerData(), "");
}

TEST(Play, AFailedExchangeLeavesNothingOfThePlayBeforeIt) {
  FakeBrowser browser;
  browser.answer(kEverything);
  browser.play("m", 5);
  browser.failExchange(-3, "x");

  browser.play("m", 5);

  EXPECT_EQ(browser.extract(0).toString(), "");
  EXPECT_EQ(browser.performanceEntry(1), nullptr);
  EXPECT_EQ(browser.profilerData(), "");
  EXPECT_EQ(browser.waitForProcessId(), 77U);
}

TEST(Play, AMacroThatFailsLeavesWhatItBroughtAllTheSame) {
  FakeBrowser browser;
  browser.answer(
      R"({"errorCode":-7,"extractData":["e"],"lastPerformance":[{"name":"n"}],"profilerData":"data"})");

  EXPECT_FALSE(browser.play("m", 5));

  EXPECT_EQ(browser.extract(0).toString(), "e");
  EXPECT_EQ(entryText(browser.performanceEntry(1)), "n=");
  EXPECT_EQ(browser.profilerData(), "data");
}

TEST(Play, OtherResponsesAddToWhatItLeft) {
  FakeBrowser browser;
  browser.answer(kEverything);
  browser.play("m", 5);
  browser.answer(R"({"errorCode":1,"extractData":["four"],"lastPerformance":[{"name":"n3","value":"v3"}]})");

  browser.display("m", 5);

  EXPECT_EQ(browser.extract(0).toString(), "one[EXTRACT]two[EXTRACT]three[EXTRACT]four");
  EXPECT_EQ(entryText(browser.performanceEntry(3)), "n3=v3");
  EXPECT_EQ(browser.profilerData(), "");
  EXPECT_EQ(browser.waitForProcessId(), 0U);
}

// ---- what a play leaves ----

TEST(Extract, ZeroAndMinusOneGiveAllOfThemJoined) {
  FakeBrowser browser;
  browser.receive(kEverything);

  EXPECT_EQ(browser.extract(0).toString(), "one[EXTRACT]two[EXTRACT]three");
  EXPECT_EQ(browser.extract(-1).toString(), "one[EXTRACT]two[EXTRACT]three");
}

TEST(Extract, FromOneUpEachIndexGivesOne) {
  FakeBrowser browser;
  browser.receive(kEverything);

  EXPECT_EQ(browser.extract(1).toString(), "one");
  EXPECT_EQ(browser.extract(2).toString(), "two");
  EXPECT_EQ(browser.extract(3).toString(), "three");
}

TEST(Extract, AnyOtherIndexGivesNothing) {
  FakeBrowser browser;
  browser.receive(kEverything);

  EXPECT_EQ(browser.extract(4).toString(), "");
  EXPECT_EQ(browser.extract(-2).toString(), "");
  EXPECT_EQ(browser.extract(std::numeric_limits<int>::max()).toString(), "");
  EXPECT_EQ(browser.extract(std::numeric_limits<int>::min()).toString(), "");
}

TEST(Extract, WithoutExtractsEveryIndexGivesNothing) {
  const FakeBrowser browser;

  EXPECT_EQ(browser.extract(0).toString(), "");
  EXPECT_EQ(browser.extract(-1).toString(), "");
  EXPECT_EQ(browser.extract(1).toString(), "");
}

TEST(Extract, EmptyExtractsAreSeparatedToo) {
  FakeBrowser browser;
  browser.receive(R"({"extractData":["",""]})");

  EXPECT_EQ(browser.extract(0).toString(), "[EXTRACT]");
  EXPECT_EQ(browser.extract(1).toString(), "");
}

TEST(Extract, ASingleOneHasNoSeparator) {
  FakeBrowser browser;
  browser.receive(R"({"extractData":["x"]})");

  EXPECT_EQ(browser.extract(0).toString(), "x");
}

TEST(Performance, EntriesAreCountedFromOne) {
  FakeBrowser browser;
  browser.receive(kEverything);

  EXPECT_EQ(entryText(browser.performanceEntry(1)), "n1=v1");
  EXPECT_EQ(entryText(browser.performanceEntry(2)), "n2=v2");
}

TEST(Performance, AnyOtherIndexGivesNone) {
  FakeBrowser browser;
  browser.receive(kEverything);

  for (const int index : {0, -1, 3, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_EQ(browser.performanceEntry(index), nullptr) << index;
  }
}

}  // namespace

}  // namespace kx
