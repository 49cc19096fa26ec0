// kx_Exit(): what becomes of the browser's process, which ends by itself, is killed or is left running.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <optional>
#include <ostream>

namespace {

// How a browser ends that was not killed; a killed one ends with 0.
constexpr DWORD kOwnExitCode = 7;

struct End {
  const char* name;
  bool isLaunched;
  std::vector<const char*> script;
  std::optional<DWORD> exitCode;  // none when the browser is left running
};

std::ostream& operator<<(std::ostream& stream, const End& end) {
  return stream << end.name;
}

class Exit : public Conversation, public ::testing::WithParamInterface<End> {
 protected:
  Exit() { browser_.script("on exit exit-code 7"); }

  SimulatedBrowser browser_;
};

TEST_P(Exit, AnExitEndsTheBrowserOrLeavesItRunningAndFreesTheContext) {
  for (const char* line : GetParam().script) {
    browser_.script(line);
  }
  if (GetParam().isLaunched) {
    launch(browser_);
  } else {
    attach(browser_);
  }
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(2), KX_OK);

  EXPECT_EQ(process.isRunning(), !GetParam().exitCode.has_value());
  if (GetParam().exitCode) {
    EXPECT_EQ(process.exitCode(), *GetParam().exitCode);
  } else {
    browser_.mayStay();
  }
  EXPECT_FALSE(isInitialised());
}

INSTANTIATE_TEST_SUITE_P(
    OfABrowser, Exit,
    ::testing::Values(
        End{"ThatWasLaunched", true, {}, kOwnExitCode}, End{"ThatWasAttachedTo", false, {}, kOwnExitCode},
        End{"ThatTakesItsTime", true, {"on exit send", "on exit delay 700"}, kOwnExitCode},
        End{"ThatStays", true, {"on exit stay"}, 0},
        End{"ThatWasAttachedToAndStays", false, {"on exit stay"}, 0},
        End{"ThatStaysAndNamesNoProcess", true, {"on exit wait-for-pid none", "on exit stay"}, {}},
        End{"ThatHangsUp", true, {"on exit stay", "on exit hang-up"}, 0},
        End{"ThatWasAttachedToAndHangsUp", false, {"on exit stay", "on exit hang-up"}, {}},
        End{"ThatDoesNotAnswer", true, {"on exit no-reply"}, 0},
        End{"ThatWasAttachedToAndDoesNotAnswer", false, {"on exit no-reply"}, {}},
        End{"ThatAnswersWithGarbage", true, {"on exit reply bye", "on exit stay"}, 0}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(Exit, AfterAnExitTheContextCanLaunchAgain) {
  launch(browser_);
  ASSERT_EQ(exit(), KX_OK);

  launch(browser_);

  EXPECT_EQ(browserProcessId(), browser_.processIds().at(1));
  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Exit, AnExitKillsTheProcessThatItsAnswerNamesAndNotTheLaunchedOne) {
  const HelperProcess other({"wait", uniqueName("never")});
  browser_.script("on exit wait-for-pid " + std::to_string(other.id()));
  browser_.script("on exit stay");
  browser_.mayStay();
  launch(browser_);

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_EQ(other.exitCode(), 0U);
  EXPECT_TRUE(browser_.isRunning());
}

TEST_F(Exit, AnExitWithoutAnAnswerKillsTheLaunchedProcessAndNotOneNamedEarlier) {
  const HelperProcess other({"wait", uniqueName("never")});
  browser_.script("on play wait-for-pid " + std::to_string(other.id()));
  browser_.script("on exit hang-up");
  launch(browser_);
  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_FALSE(browser_.isRunning());
  EXPECT_TRUE(other.isRunning());
}

// The exit's request waits for the end of the macro's, gives up, and the browser is killed before its
// connection is closed: a close waits for a browser that does not read.
TEST_F(Exit, AnExitKillsALaunchedBrowserThatDoesNotRead) {
  browser_.script("on before-request 2 hold");
  launch(browser_);
  ASSERT_EQ(play(std::string(1000000, 'm'), 1), KX_FAILED);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
}

// The browser answers the exit although the play before it was given up.
TEST_F(Exit, ABrowserEndsByItselfAfterAPlayThatTimedOut) {
  browser_.script("on play no-reply");
  launch(browser_);
  const ObservedProcess process = browser_.process();
  ASSERT_EQ(play("x", 1), KX_FAILED);

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_EQ(process.exitCode(), kOwnExitCode);
}

}  // namespace
