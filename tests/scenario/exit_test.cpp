// kx_Exit(): the browser is asked to leave, and the process that its answer names is waited for.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

namespace {

// How a browser ends that was not killed; a killed one ends with 0.
constexpr DWORD kOwnExitCode = 7;

class Exit : public Conversation {
 protected:
  Exit() { browser_.script("on exit exit-code 7"); }

  SimulatedBrowser browser_;
};

TEST_F(Exit, ALaunchedBrowserIsAskedAndEndsByItself) {
  launch(browser_);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_FALSE(process.isRunning());
  EXPECT_EQ(process.exitCode(), kOwnExitCode);
  EXPECT_EQ(browser_.request(2), exitRequest());
}

TEST_F(Exit, ABrowserThatWasAttachedToEndsByItselfToo) {
  attach(browser_);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_FALSE(process.isRunning());
  EXPECT_EQ(process.exitCode(), kOwnExitCode);
  EXPECT_FALSE(browser_.isRunning());
}

TEST_F(Exit, TheEndOfTheProcessIsWaitedFor) {
  browser_.script("on exit send");
  browser_.script("on exit delay 700");
  attach(browser_);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_FALSE(process.isRunning());
  EXPECT_EQ(process.exitCode(), kOwnExitCode);
}

TEST_F(Exit, TheProcessMayEndAtAnyTimeWithinTheTimeout) {
  const NamedEvent leave;
  browser_.script("on exit send");
  browser_.script("on exit wait-event " + leave.name());
  attach(browser_);
  const ObservedProcess process = browser_.process();
  const LogFile log;
  const LogSignal whenWaiting("Waiting for browser process (", 1, [&] { leave.signal(); });

  EXPECT_EQ(exit(30), KX_OK);

  EXPECT_EQ(process.exitCode(), kOwnExitCode);
}

TEST_F(Exit, TimeoutZeroWaitsForTheProcessLongerThanItsEndTakes) {
  browser_.script("on exit send");
  browser_.script("on exit delay 1200");
  attach(browser_);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(0), KX_OK);

  EXPECT_EQ(process.exitCode(), kOwnExitCode);
}

TEST_F(Exit, AnAnswerWithoutAProcessIsNotWaitedFor) {
  browser_.script("on exit wait-for-pid none");
  browser_.script("on exit stay");
  launch(browser_);
  browser_.mayStay();
  const LogFile log;

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_TRUE(browser_.isRunning());
  EXPECT_EQ(occurrences(log.text(), "Waiting for browser process"), 0);
}

TEST_F(Exit, AnAnswerThatNamesProcessZeroIsNotWaitedFor) {
  browser_.script("on exit wait-for-pid 0");
  browser_.script("on exit stay");
  attach(browser_);
  const LogFile log;

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_TRUE(browser_.isRunning());
  EXPECT_EQ(occurrences(log.text(), "Waiting for browser process"), 0);
}

TEST_F(Exit, AProcessThatAnEarlierAnswerNamedIsNotWaitedFor) {
  const HelperProcess other({"wait", uniqueName("never")});
  browser_.script("on play wait-for-pid " + std::to_string(other.id()));
  browser_.script("on exit wait-for-pid none");
  browser_.script("on exit stay");
  attach(browser_);
  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_TRUE(other.isRunning());
}

TEST_F(Exit, AfterwardsTheContextHasNoBrowser) {
  launch(browser_);
  ASSERT_EQ(exit(), KX_OK);

  EXPECT_EQ(play("extract x"), KX_FAILED);
  EXPECT_EQ(exit(), KX_FAILED);
  EXPECT_EQ(browserProcessId(), 0U);
  EXPECT_EQ(errorNumber(), KX_ERROR_NONE);
  EXPECT_EQ(errorText(), "");
}

TEST_F(Exit, AfterwardsTheContextCanLaunchAgain) {
  launch(browser_);
  ASSERT_EQ(exit(), KX_OK);

  launch(browser_);

  EXPECT_EQ(browser_.processIds().size(), 2U);
  EXPECT_EQ(browserProcessId(), browser_.processIds().back());
  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Exit, EveryContextExitsForItself) {
  SimulatedBrowser other = SimulatedBrowser::chrome();
  attach(browser_);
  other.start();
  const int second = dll_.kx_ContextCreate();
  ASSERT_EQ(init(second, {.browser = "cr"}), KX_OK);

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_FALSE(browser_.isRunning());
  EXPECT_TRUE(other.isRunning());
  EXPECT_EQ(dll_.kx_Play(second, "extract x", 30), KX_OK);
}

}  // namespace
