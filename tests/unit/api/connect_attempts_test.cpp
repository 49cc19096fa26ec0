#include "api/connect_attempts.h"

#include "support/fake_browser.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <limits>

namespace kx {

namespace {

constexpr char kLockPresent[] = "Client: connect failed but lock present";

// The numbers with which the first attempts fail; the ones behind them succeed.
using Failures = std::vector<int>;

Failures times(int count, int number) {
  return Failures(static_cast<std::size_t>(count), number);
}

// What happens, in order: 'c' a connection attempt, 'l' a launch, 'p' a pause.
struct StartedBrowser : FakeBrowser {
  explicit StartedBrowser(const Failures& failures) {
    for (const int number : failures) {
      failConnect(number, "failed with " + std::to_string(number));
    }
  }

  bool connect(int timeoutSeconds) override {
    steps += 'c';
    return FakeBrowser::connect(timeoutSeconds);
  }

  std::string steps;
};

TEST(ConnectAttempts, FurtherAttemptsAreHalfTheTimeoutAtLeastOneAndTenWithoutATimeout) {
  const std::pair<int, int> cases[] = {
      {0, 10}, {1, 1}, {2, 1},     {3, 1},
      {4, 2},  {5, 2}, {600, 300}, {std::numeric_limits<int>::max(), 1073741823}};
  for (const auto& [timeout, attempts] : cases) {
    EXPECT_EQ(connectAttempts(timeout), attempts) << timeout;
  }
}

TEST(ConnectOrLaunch, AStartLaunchesOnceAndPausesBeforeEachFurtherAttempt) {
  struct Case {
    const char* rule;
    int timeout;
    Failures failures;
    std::string steps;
    bool isConnected;
    bool launched;
    int failureResult;
    int lockEntries = 0;
  };
  const auto further = [](int attempts) {
    std::string steps = "cl";
    for (int i = 0; i < attempts; ++i) {
      steps += "pc";
    }
    return steps;
  };
  std::vector<Case> cases = {
      {"a browser that answers is not launched", 600, {}, "c", true, false, 0},
      {"one that does not is launched once and tried again", 20, times(3, -1), "clpcpcpc", true, true, 0},
      {"with time-out 1 there is one further attempt", 1, times(100, -1), further(1), false, true, -1},
      {"without a time-out there are ten", 0, times(100, -1), further(10), false, true, -1},
      {"with ten minutes there are three hundred", 600, times(1000, -1), further(300), false, true, -1},
      {"the last attempt may succeed", 4, times(2, -1), "clpcpc", true, true, 0},
      {"used up attempts leave the last error", 2, {-1, 2}, "clpc", false, true, -1},
      {"a profile in use is waited for without a launch", 20, times(2, -4), "cpcpc", true, false, 0, 2},
      {"to the end it uses the attempts up", 4, times(100, -4), "cpcpc", false, false, -1, 2},
      {"one that is given up is launched after all", 20, {-4, -1}, "cpclpc", true, true, 0, 1},
      {"one that the launched browser holds is waited for", 20, {-1, -4, -4}, "clpcpcpc", true, true, 0, 2},
      {"a time-out ends the start with its number", 20, {-3}, "c", false, false, -3},
      {"also that of a later attempt", 20, {-1, -3}, "clpc", false, true, -3},
      {"that of the last attempt counts as attempts used up", 1, {-1, -3}, "clpc", false, true, -1},
  };
  for (const int number : {0, 1, 2, -2, -5, 5, 231}) {
    cases.push_back({"any other error number launches too", 20, {number}, "clpc", true, true, 0});
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    const LogCapture log;
    StartedBrowser browser(c.failures);
    const auto launch = [&] {
      browser.steps += 'l';
      return true;
    };
    const ConnectOutcome outcome = connectOrLaunch(browser, c.timeout, launch, [&] { browser.steps += 'p'; });

    EXPECT_EQ(browser.steps, c.steps);
    EXPECT_EQ(browser.timeouts, std::vector<int>(browser.timeouts.size(), c.timeout));
    EXPECT_EQ(outcome.isConnected, c.isConnected);
    EXPECT_EQ(outcome.launched, c.launched);
    EXPECT_EQ(outcome.failureResult, c.failureResult);
    if (!c.isConnected) {
      const int last = c.failures.at(browser.timeouts.size() - 1);
      EXPECT_EQ(browser.errorNumber(), last);
      EXPECT_EQ(browser.errorText(), "failed with " + std::to_string(last));
    }
    std::string entries;
    for (int i = 0; i < c.lockEntries; ++i) {
      entries += information(kLockPresent);
    }
    EXPECT_EQ(log.text(), entries);
  }
}

TEST(ConnectOrLaunch, ALaunchThatFailsEndsTheStartWithTheInstancesNumber) {
  StartedBrowser browser({-1});
  const auto failToLaunch = [&] {
    browser.fail(193, "Couldn't start browser binary");
    return false;
  };

  const ConnectOutcome outcome = connectOrLaunch(browser, 20, failToLaunch, [] {});

  EXPECT_EQ(browser.steps, "c");
  EXPECT_FALSE(outcome.isConnected);
  EXPECT_FALSE(outcome.launched);
  EXPECT_EQ(outcome.failureResult, 193);
}

TEST(ConnectToRunner, ARunnerIsTriedOnceMoreThanItsTimeoutSaysWithAPauseBeforeEachAttempt) {
  struct Case {
    const char* rule;
    int timeout;
    Failures failures;
    std::string steps;
    RunnerConnect result;
  };
  const Case cases[] = {
      {"a runner that answers needs one attempt", 10, {}, "c", RunnerConnect::Connected},
      {"each further attempt comes after a pause", 10, times(2, -1), "cpcpc", RunnerConnect::Connected},
      {"with time-out 10 there are eleven", 10, times(100, -1), "cpcpcpcpcpcpcpcpcpcpcpc",
       RunnerConnect::TimedOut},
      {"the last attempt may succeed", 1, times(2, -1), "cpcpc", RunnerConnect::Connected},
      {"with time-out 0 there is no further one", 0, times(1, -1), "c", RunnerConnect::Failed},
      {"but the first one counts", 0, {}, "c", RunnerConnect::Connected},
      {"a locked profile does not end it earlier", 1, times(100, -4), "cpcpc", RunnerConnect::TimedOut},
      {"nor does a time-out", 1, times(100, -3), "cpcpc", RunnerConnect::TimedOut},
  };
  const LogCapture log;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    StartedBrowser browser(c.failures);

    EXPECT_EQ(connectToRunner(browser, c.timeout, [&] { browser.steps += 'p'; }), c.result);

    EXPECT_EQ(browser.steps, c.steps);
    EXPECT_EQ(browser.timeouts, std::vector<int>(browser.timeouts.size(), c.timeout));
    if (c.result == RunnerConnect::Failed) {
      EXPECT_EQ(browser.errorText(), "failed with -1") << "the instance tells why";
    }
  }
  EXPECT_EQ(log.text(), "");
}

}  // namespace

}  // namespace kx
