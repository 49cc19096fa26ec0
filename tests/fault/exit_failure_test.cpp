// kx_Exit() when the browser does not play along: it stays, names the wrong process, does not answer, is
// gone.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <thread>

namespace {

class ExitFailure : public Conversation {
 protected:
  ExitFailure() { browser_.script("on exit exit-code 7"); }

  // Ends the launched browser as a user does.
  static void kill(const ObservedProcess& process) { process.kill(); }

  SimulatedBrowser browser_;
};

TEST_F(ExitFailure, ABrowserThatStaysIsKilledAfterTheTimeout) {
  browser_.script("on exit stay");
  launch(browser_);
  const ObservedProcess process = browser_.process();
  const LogFile log;

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
  EXPECT_FALSE(browser_.isRunning());
  const std::string id = std::to_string(process.id());
  EXPECT_EQ(occurrences(log.text(), "): Waiting for browser process (" + id + ") termination\n"), 1);
  EXPECT_EQ(occurrences(log.text(), "Error: Waiting for browser process (" + id + ") exit failed, error "),
            1);
}

TEST_F(ExitFailure, ABrowserThatWasAttachedToAndStaysIsKilledToo) {
  browser_.script("on exit stay");
  attach(browser_);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
}

TEST_F(ExitFailure, TheProcessThatTheAnswerNamesIsKilledAndNoOther) {
  const HelperProcess other({"wait", uniqueName("never")});
  browser_.script("on exit wait-for-pid " + std::to_string(other.id()));
  browser_.script("on exit stay");
  launch(browser_);
  browser_.mayStay();

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_EQ(other.exitCode(), 0U);
  EXPECT_TRUE(browser_.isRunning());
}

TEST_F(ExitFailure, AProcessThatIsNotThereIsToldInTheLog) {
  browser_.script("on exit wait-for-pid 4294967294");
  browser_.script("on exit stay");
  launch(browser_);
  browser_.mayStay();
  const LogFile log;

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_FALSE(isInitialised());
  EXPECT_TRUE(browser_.isRunning());
  EXPECT_EQ(occurrences(log.text(), "): Waiting for browser process (-2) termination\n"), 1);
  EXPECT_EQ(occurrences(log.text(), "Error: Waiting for browser process -2 exit failed, error 87\n"), 1);
}

struct NamedProcess {
  const char* name;
  const char* json;
  bool isWaitedFor;
};

class ExitProcessNumber : public ExitFailure, public ::testing::WithParamInterface<NamedProcess> {};

TEST_P(ExitProcessNumber, IsTakenAsAProcessIdOrAsNone) {
  browser_.script(std::string("on exit wait-for-pid ") + GetParam().json);
  browser_.script("on exit stay");
  attach(browser_);
  const LogFile log;

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_EQ(occurrences(log.text(), "Waiting for browser process (") == 1, GetParam().isWaitedFor);
}

INSTANTIATE_TEST_SUITE_P(Numbers, ExitProcessNumber,
                         ::testing::Values(NamedProcess{"Negative", "-4", false},
                                           NamedProcess{"Fraction", "0.9", false},
                                           NamedProcess{"Text", "\"100\"", false},
                                           NamedProcess{"BeyondTheRange", "1e12", true}),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(ExitFailure, ALaunchedBrowserThatHangsUpIsKilled) {
  browser_.script("on exit stay");
  browser_.script("on exit hang-up");
  launch(browser_);
  const ObservedProcess process = browser_.process();
  const LogFile log;

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
  EXPECT_EQ(occurrences(log.text(), "Error: BrowserInstance::terminate() failed, kill browser process\n"), 1);
}

TEST_F(ExitFailure, ABrowserThatWasAttachedToAndHangsUpIsLeftRunning) {
  browser_.script("on exit stay");
  browser_.script("on exit hang-up");
  attach(browser_);
  const LogFile log;

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_TRUE(browser_.isRunning());
  EXPECT_EQ(occurrences(log.text(), "Error: BrowserInstance::terminate() failed, kill browser process\n"), 1);
  EXPECT_EQ(init({}), KX_OK);
}

TEST_F(ExitFailure, ALaunchedBrowserThatDoesNotAnswerIsKilled) {
  browser_.script("on exit no-reply");
  launch(browser_);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
}

TEST_F(ExitFailure, ABrowserThatWasAttachedToAndDoesNotAnswerIsLeftRunning) {
  browser_.script("on exit no-reply");
  attach(browser_);

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_TRUE(browser_.isRunning());
}

TEST_F(ExitFailure, ABrowserThatEndsWithoutAnAnswerIsNoTrouble) {
  browser_.script("on exit die 5");
  launch(browser_);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_EQ(process.exitCode(), 5U);
}

TEST_F(ExitFailure, GarbageForAnAnswerKillsTheLaunchedBrowser) {
  browser_.script("on exit reply bye");
  browser_.script("on exit stay");
  launch(browser_);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
}

// The process id of the launch is used though the answer to the play named another.
TEST_F(ExitFailure, WithoutAnAnswerTheLaunchedProcessIsKilledAndNotOneNamedEarlier) {
  const HelperProcess other({"wait", uniqueName("never")});
  browser_.script("on play wait-for-pid " + std::to_string(other.id()));
  browser_.script("on exit stay");
  browser_.script("on exit hang-up");
  launch(browser_);
  const ObservedProcess process = browser_.process();
  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
  EXPECT_TRUE(other.isRunning());
}

TEST_F(ExitFailure, ABrowserThatWasKilledCanBeLaunchedAgainByTheSameContext) {
  launch(browser_);
  kill(browser_.process());
  ASSERT_EQ(exit(), KX_OK);

  launch(browser_);

  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(exit(), KX_OK);
}

// A start that gives up asks the browser that it launched to exit, without a time-out.
TEST_F(ExitFailure, TheEndlessExitOfAStartThatGivesUpEndsWhenTheBrowserIsKilled) {
  const NamedEvent asked;
  browser_.script("on init reply nonsense");
  browser_.script("on exit set-event " + asked.name());
  browser_.script("on exit no-reply");
  std::thread user([&] {
    if (asked.wait(60000)) {
      kill(browser_.process());
    }
  });

  EXPECT_EQ(init({.program = browser_.program()}), KX_FAILED);
  user.join();

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Error in response processing");
  EXPECT_TRUE(asked.wait(0));
  EXPECT_FALSE(browser_.isRunning());
}

}  // namespace
