// kx_Init() tries again: pipes that are served late or busy, profiles that a running browser holds, and how
// often it tries.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <thread>

namespace {

constexpr char kConnecting[] = "Client: connecting to server using pipe ";
constexpr char kNobodyServes[] = "Could not open pipe ";
constexpr char kLockPresent[] = "Client: connect failed but lock present\n";

// How far two clocks may be apart.
constexpr ULONGLONG kClockMilliseconds = 50;

class Retry : public Conversation {
 protected:
  // Firefox starts with the profile "dev", whose folder is there.
  void makeDefaultProfile() const {
    user_.writeProfiles("[Profile0]\nName=dev\nIsRelative=1\nPath=Profiles/dev\nDefault=1\n");
    std::filesystem::create_directories(wide(user_.roaming() + "\\Mozilla\\Firefox\\Profiles\\dev"));
  }

  int attempts() const { return occurrences(log_.text(), kConnecting); }

  const LogFile log_;
};

TEST_F(Retry, ALaunchedBrowserThatServesLateIsTriedAgain) {
  SimulatedBrowser browser;
  const NamedEvent go;
  browser.script("on serve wait-event " + go.name());
  const LogSignal afterSecondAttempt(kNobodyServes, 2, [&] { go.signal(); });

  EXPECT_EQ(init({.program = browser.program()}), KX_OK);

  EXPECT_GE(attempts(), 3);
  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_EQ(browser.request(1), initRequest(false, true));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Retry, ABusyPipeIsWaitedForWithinOneAttempt) {
  SimulatedBrowser browser;
  const NamedEvent busy;
  const NamedEvent go;
  browser.script("on busy set-event " + busy.name());
  browser.script("on busy wait-event " + go.name());
  browser.script("on busy delay 300");
  browser.startOnly();
  ASSERT_TRUE(busy.wait());
  const LogSignal whenConnecting(kConnecting, 1, [&] { go.signal(); });

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(attempts(), 1);
  EXPECT_EQ(occurrences(log_.text(), kNobodyServes), 0);
}

TEST_F(Retry, TwoAttemptsAreTwoSecondsApart) {
  SimulatedBrowser browser;
  browser.script("serve-never");
  ULONGLONG first = 0;
  ULONGLONG second = 0;
  const LogSignal firstAttempt(kConnecting, 1, [&] { first = ::GetTickCount64(); });
  const LogSignal secondAttempt(kConnecting, 2, [&] { second = ::GetTickCount64(); });

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  EXPECT_GE(second, first + 2000 - kClockMilliseconds);
}

TEST_F(Retry, APipeThatStaysBusyForFiveSecondsCountsAsNotServed) {
  SimulatedBrowser browser;
  const NamedEvent busy;
  browser.script("on busy set-event " + busy.name());
  browser.script("on busy wait-event " + uniqueName("never"));
  browser.startOnly();
  ASSERT_TRUE(busy.wait());
  const ULONGLONG begin = ::GetTickCount64();

  EXPECT_EQ(init({}), ERROR_PATH_NOT_FOUND) << "the launch was tried, and failed";

  EXPECT_GE(::GetTickCount64(), begin + 5000 - kClockMilliseconds);
  EXPECT_EQ(occurrences(log_.text(), kNobodyServes + defaultPipe() + ", error = 121\n"), 1);
}

TEST_F(Retry, WhileARunningBrowserHoldsTheProfileNothingIsLaunched) {
  makeDefaultProfile();
  SimulatedBrowser running;
  const NamedEvent locked;
  const NamedEvent go;
  running.script("on start lock-profile");
  running.script("on start set-event " + locked.name());
  running.script("on serve wait-event " + go.name());
  running.startOnly();
  ASSERT_TRUE(locked.wait());
  const SimulatedBrowser other;
  const LogSignal afterSecondAttempt("Client: connect failed but lock present", 2, [&] { go.signal(); });

  EXPECT_EQ(init({.program = other.program()}), KX_OK);

  EXPECT_FALSE(other.hasRecorded("command-line.txt"));
  EXPECT_EQ(browserProcessId(), 0U);
  EXPECT_EQ(running.request(1), initRequest(false, false));
  EXPECT_GE(occurrences(log_.text(), kLockPresent), 2);
}

TEST_F(Retry, AnAttemptThatFindsTheProfileFreeAgainLaunchesTheBrowser) {
  makeDefaultProfile();
  SimulatedBrowser running;
  const NamedEvent locked;
  const NamedEvent leave;
  running.script("on start lock-profile");
  running.script("on start set-event " + locked.name());
  running.script("on start wait-event " + leave.name());
  running.script("on start die 0");
  running.startOnly();
  ASSERT_TRUE(locked.wait());
  SimulatedBrowser launched;
  const LogSignal afterFirstAttempt("Client: connect failed but lock present", 1, [&] { leave.signal(); });

  EXPECT_EQ(init({.program = launched.program()}), KX_OK);

  EXPECT_EQ(launched.request(1), initRequest(false, true));
  EXPECT_EQ(browserProcessId(), launched.processId());
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Retry, AttemptsUsedUpOnAHeldProfileKeepTheNumberOfTheHeldProfile) {
  makeDefaultProfile();
  SimulatedBrowser running;
  const NamedEvent locked;
  running.script("on start lock-profile");
  running.script("on start set-event " + locked.name());
  running.script("serve-never");
  running.startOnly();
  ASSERT_TRUE(locked.wait());

  EXPECT_EQ(init({.timeout = 1}), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_PROFILE_IN_USE);
  EXPECT_EQ(errorText(), "Could not open server pipe \\\\.\\pipe\\kx-fx-dev." + user_.name());
  EXPECT_TRUE(running.isRunning());
}

TEST_F(Retry, AHeldProfileIsNotLookedAtWhenTheProfileIsGiven) {
  makeDefaultProfile();
  SimulatedBrowser running;
  const NamedEvent locked;
  running.script("on start lock-profile");
  running.script("on start set-event " + locked.name());
  running.script("serve-never");
  running.startOnly();
  ASSERT_TRUE(locked.wait());

  EXPECT_EQ(init({.options = "-fxProfile dev", .timeout = 1}), ERROR_PATH_NOT_FOUND);

  EXPECT_EQ(occurrences(log_.text(), kLockPresent), 0);
}

TEST_F(Retry, AHeldProfileIsNotLookedAtForChrome) {
  makeDefaultProfile();
  SimulatedBrowser running;
  const NamedEvent locked;
  running.script("on start lock-profile");
  running.script("on start set-event " + locked.name());
  running.script("serve-never");
  running.startOnly();
  ASSERT_TRUE(locked.wait());

  EXPECT_EQ(init({.browser = "cr", .timeout = 1}), ERROR_PATH_NOT_FOUND);

  EXPECT_EQ(occurrences(log_.text(), kLockPresent), 0);
}

struct AttemptCount {
  int timeout;
  int attempts;
};

class RetryCount : public Retry, public ::testing::WithParamInterface<AttemptCount> {};

// The first attempt comes before the launch; the time-out counts those after it.
TEST_P(RetryCount, FollowsFromTheTimeout) {
  SimulatedBrowser browser;
  browser.script("serve-never");
  const LogSignal started = untilItHasStarted(browser);

  EXPECT_EQ(init({.program = browser.program(), .timeout = GetParam().timeout}), KX_FAILED);

  EXPECT_EQ(attempts(), 1 + GetParam().attempts);
  EXPECT_EQ(browser.processIds().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Timeouts, RetryCount,
                         ::testing::Values(AttemptCount{1, 1}, AttemptCount{3, 1}, AttemptCount{4, 2}),
                         [](const auto& tested) {
                           return "Of" + std::to_string(tested.param.timeout) + "Seconds";
                         });

}  // namespace
