#include "api/connect_attempts.h"

#include "support/fake_browser.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <limits>

namespace kx {

namespace {

using Journal = std::vector<std::string>;

// A browser whose start and pauses are journalled between its connection attempts.
struct StartedBrowser : FakeBrowser {
  ConnectOutcome connectOrLaunch(int timeoutSeconds) {
    const auto launch = [this] {
      journal.emplace_back("launch");
      if (launchFailure) {
        fail(*launchFailure, "Couldn't start browser binary");
      }
      return !launchFailure;
    };
    return kx::connectOrLaunch(*this, timeoutSeconds, launch, [this] { journal.emplace_back("pause"); });
  }

  RunnerConnect connectToRunner(int timeoutSeconds) {
    return kx::connectToRunner(*this, timeoutSeconds, [this] { journal.emplace_back("pause"); });
  }

  void failConnects(int times, int number) {
    for (int i = 0; i < times; ++i) {
      failConnect(number);
    }
  }

  std::ptrdiff_t countOf(const std::string& event) const {
    return std::count(journal.begin(), journal.end(), event);
  }

  std::optional<int> launchFailure;
};

void expectOutcome(const ConnectOutcome& outcome, bool isConnected, bool launched, int failureResult) {
  EXPECT_EQ(outcome.isConnected, isConnected);
  EXPECT_EQ(outcome.launched, launched);
  EXPECT_EQ(outcome.failureResult, failureResult);
}

TEST(ConnectAttempts, AreHalfTheTimeoutAndAtLeastOne) {
  EXPECT_EQ(connectAttempts(1), 1);
  EXPECT_EQ(connectAttempts(2), 1);
  EXPECT_EQ(connectAttempts(3), 1);
  EXPECT_EQ(connectAttempts(4), 2);
  EXPECT_EQ(connectAttempts(5), 2);
  EXPECT_EQ(connectAttempts(600), 300);
  EXPECT_EQ(connectAttempts(std::numeric_limits<int>::max()), 1073741823);
}

TEST(ConnectAttempts, AreTenWithoutATimeout) {
  EXPECT_EQ(connectAttempts(0), 10);
}

TEST(ConnectOrLaunch, ABrowserThatAnswersIsNotLaunched) {
  StartedBrowser browser;

  expectOutcome(browser.connectOrLaunch(600), true, false, 0);

  EXPECT_EQ(browser.journal, (Journal{"connect 600"}));
}

TEST(ConnectOrLaunch, ABrowserThatDoesNotAnswerIsLaunchedOnceAndTriedAgain) {
  StartedBrowser browser;
  browser.failConnects(3, -1);

  expectOutcome(browser.connectOrLaunch(20), true, true, 0);

  EXPECT_EQ(browser.journal, (Journal{"connect 20", "launch", "pause", "connect 20", "pause", "connect 20",
                                      "pause", "connect 20"}));
}

TEST(ConnectOrLaunch, AnyOtherErrorNumberLaunchesToo) {
  for (const int number : {0, 1, 2, -2, -5, 5, 231}) {
    StartedBrowser browser;
    browser.failConnect(number);

    expectOutcome(browser.connectOrLaunch(20), true, true, 0);
  }
}

TEST(ConnectOrLaunch, WithTimeoutOneThereIsOneFurtherAttempt) {
  StartedBrowser browser;
  browser.failConnects(100, -1);

  expectOutcome(browser.connectOrLaunch(1), false, true, -1);

  EXPECT_EQ(browser.journal, (Journal{"connect 1", "launch", "pause", "connect 1"}));
}

TEST(ConnectOrLaunch, WithoutATimeoutThereAreTenFurtherAttempts) {
  StartedBrowser browser;
  browser.failConnects(100, -1);

  expectOutcome(browser.connectOrLaunch(0), false, true, -1);

  EXPECT_EQ(browser.countOf("connect 0"), 11);
  EXPECT_EQ(browser.countOf("pause"), 10);
  EXPECT_EQ(browser.countOf("launch"), 1);
}

TEST(ConnectOrLaunch, WithTenMinutesThereAreThreeHundredFurtherAttempts) {
  StartedBrowser browser;
  browser.failConnects(1000, -1);

  expectOutcome(browser.connectOrLaunch(600), false, true, -1);

  EXPECT_EQ(browser.countOf("connect 600"), 301);
  EXPECT_EQ(browser.countOf("pause"), 300);
  EXPECT_EQ(browser.countOf("launch"), 1);
}

TEST(ConnectOrLaunch, TheLastAttemptMaySucceed) {
  StartedBrowser browser;
  browser.failConnects(2, -1);

  expectOutcome(browser.connectOrLaunch(4), true, true, 0);
}

TEST(ConnectOrLaunch, UsedUpAttemptsLeaveTheLastErrorInTheInstance) {
  StartedBrowser browser;
  browser.failConnect(-1, "first");
  browser.failConnect(2, "last");

  expectOutcome(browser.connectOrLaunch(2), false, true, -1);

  EXPECT_EQ(browser.errorNumber(), 2);
  EXPECT_EQ(browser.errorText(), "last");
}

TEST(ConnectOrLaunch, AProfileInUseIsWaitedForWithoutALaunch) {
  const LogCapture log;
  StartedBrowser browser;
  browser.failConnects(2, -4);

  expectOutcome(browser.connectOrLaunch(20), true, false, 0);

  EXPECT_EQ(browser.journal, (Journal{"connect 20", "pause", "connect 20", "pause", "connect 20"}));
  const std::string entry = information("Client: connect failed but lock present");
  EXPECT_EQ(log.text(), entry + entry);
}

TEST(ConnectOrLaunch, AProfileInUseToTheEndUsesTheAttemptsUp) {
  const LogCapture log;
  StartedBrowser browser;
  browser.failConnects(100, -4);

  expectOutcome(browser.connectOrLaunch(4), false, false, -1);

  const std::string entry = information("Client: connect failed but lock present");
  EXPECT_EQ(browser.journal, (Journal{"connect 4", "pause", "connect 4", "pause", "connect 4"}));
  EXPECT_EQ(log.text(), entry + entry);
}

TEST(ConnectOrLaunch, AProfileThatIsGivenUpIsLaunchedAfterAll) {
  StartedBrowser browser;
  browser.failConnect(-4);
  browser.failConnect(-1);

  expectOutcome(browser.connectOrLaunch(20), true, true, 0);

  EXPECT_EQ(browser.journal, (Journal{"connect 20", "pause", "connect 20", "launch", "pause", "connect 20"}));
}

TEST(ConnectOrLaunch, AProfileThatTheLaunchedBrowserHoldsIsWaitedForWithoutASecondLaunch) {
  const LogCapture log;
  StartedBrowser browser;
  browser.failConnect(-1);
  browser.failConnects(2, -4);

  expectOutcome(browser.connectOrLaunch(20), true, true, 0);

  EXPECT_EQ(browser.journal, (Journal{"connect 20", "launch", "pause", "connect 20", "pause", "connect 20",
                                      "pause", "connect 20"}));
  const std::string entry = information("Client: connect failed but lock present");
  EXPECT_EQ(log.text(), entry + entry);
}

TEST(ConnectOrLaunch, ATimeoutEndsTheStartWithItsNumber) {
  const LogCapture log;
  StartedBrowser browser;
  browser.failConnect(-3);

  expectOutcome(browser.connectOrLaunch(20), false, false, -3);

  EXPECT_EQ(browser.journal, (Journal{"connect 20"}));
  EXPECT_EQ(log.text(), "");
}

TEST(ConnectOrLaunch, ATimeoutOfALaterAttemptEndsTheStartOfALaunchedBrowser) {
  StartedBrowser browser;
  browser.failConnect(-1);
  browser.failConnect(-3);

  expectOutcome(browser.connectOrLaunch(20), false, true, -3);

  EXPECT_EQ(browser.journal, (Journal{"connect 20", "launch", "pause", "connect 20"}));
}

TEST(ConnectOrLaunch, ATimeoutOfTheLastAttemptCountsAsAttemptsUsedUp) {
  StartedBrowser browser;
  browser.failConnect(-1);
  browser.failConnect(-3);

  expectOutcome(browser.connectOrLaunch(1), false, true, -1);
}

TEST(ConnectOrLaunch, ALaunchThatFailsEndsTheStartWithTheInstancesNumber) {
  StartedBrowser browser;
  browser.failConnect(-1);
  browser.launchFailure = 193;

  expectOutcome(browser.connectOrLaunch(20), false, false, 193);

  EXPECT_EQ(browser.journal, (Journal{"connect 20", "launch"}));
}

TEST(ConnectToRunner, ARunnerThatAnswersNeedsOneAttempt) {
  StartedBrowser browser;

  EXPECT_EQ(browser.connectToRunner(10), RunnerConnect::Connected);

  EXPECT_EQ(browser.journal, (Journal{"connect 10"}));
}

TEST(ConnectToRunner, EachFurtherAttemptComesAfterAPause) {
  StartedBrowser browser;
  browser.failConnects(2, -1);

  EXPECT_EQ(browser.connectToRunner(10), RunnerConnect::Connected);

  EXPECT_EQ(browser.journal, (Journal{"connect 10", "pause", "connect 10", "pause", "connect 10"}));
}

TEST(ConnectToRunner, WithTimeoutTenThereAreElevenFurtherAttempts) {
  StartedBrowser browser;
  browser.failConnects(100, -1);

  EXPECT_EQ(browser.connectToRunner(10), RunnerConnect::TimedOut);

  EXPECT_EQ(browser.countOf("connect 10"), 12);
  EXPECT_EQ(browser.countOf("pause"), 11);
}

TEST(ConnectToRunner, TheLastAttemptMaySucceed) {
  StartedBrowser browser;
  browser.failConnects(2, -1);

  EXPECT_EQ(browser.connectToRunner(1), RunnerConnect::Connected);

  EXPECT_EQ(browser.countOf("connect 1"), 3);
}

TEST(ConnectToRunner, WithTimeoutZeroThereIsNoFurtherAttemptAndTheInstanceTellsWhy) {
  StartedBrowser browser;
  browser.failConnect(-1, "Could not open server pipe x");

  EXPECT_EQ(browser.connectToRunner(0), RunnerConnect::Failed);

  EXPECT_EQ(browser.journal, (Journal{"connect 0"}));
  EXPECT_EQ(browser.errorText(), "Could not open server pipe x");
}

TEST(ConnectToRunner, WithTimeoutZeroARunnerThatAnswersIsConnected) {
  StartedBrowser browser;

  EXPECT_EQ(browser.connectToRunner(0), RunnerConnect::Connected);
}

TEST(ConnectToRunner, NeitherALockedProfileNorATimeoutEndsItEarlier) {
  const LogCapture log;
  for (const int number : {-4, -3}) {
    StartedBrowser browser;
    browser.failConnects(100, number);

    EXPECT_EQ(browser.connectToRunner(1), RunnerConnect::TimedOut);

    EXPECT_EQ(browser.journal, (Journal{"connect 1", "pause", "connect 1", "pause", "connect 1"}));
  }
  EXPECT_EQ(log.text(), "");
}

}  // namespace

}  // namespace kx
