// A browser whose launched process starts a second one, which is the browser, and ends: Firefox does so on
// Windows. The id that the library knows is then that of a process that is gone.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

namespace {

// How the browser ends that was not killed.
constexpr DWORD kExitCodeOfItsOwn = 7;

class LauncherProcess : public Conversation {
 protected:
  LauncherProcess() {
    browser_.script("launcher-process");
    browser_.script("on exit exit-code 7");
  }

  // The second process, which has seen the end of the first.
  ObservedProcess browserProcess() const {
    EXPECT_EQ(browser_.runningCount(), 1);
    return browser_.process();
  }

  SimulatedBrowser browser_;
};

TEST_F(LauncherProcess, ALauncherGivesItsIdAndAnExitWaitsForTheBrowserThatItsAnswerNames) {
  browser_.script("on exit send");
  browser_.script("on exit delay 700");
  launch(browser_);
  const ObservedProcess process = browserProcess();

  EXPECT_NE(browserProcessId(), process.id());
  EXPECT_EQ(browser_.events("launcher "),
            std::vector<std::string>{"launcher pid=" + std::to_string(browserProcessId())});
  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(exit(), KX_OK);
  EXPECT_FALSE(process.isRunning());
  EXPECT_EQ(process.exitCode(), kExitCodeOfItsOwn);
}

TEST_F(LauncherProcess, AnExitThatIsNotAnsweredLeavesTheBrowserOfALauncherRunning) {
  browser_.script("on exit no-reply");
  launch(browser_);
  browser_.mayStay();
  const ObservedProcess process = browserProcess();

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_TRUE(process.isRunning());
  EXPECT_FALSE(isInitialised());
}

TEST_F(LauncherProcess, AStartThatFailsLeavesTheBrowserOfALauncherRunning) {
  const NamedEvent started;
  browser_.script("on start set-event " + started.name());
  browser_.script("serve-never");
  browser_.mayStay();

  EXPECT_EQ(init({.program = browser_.program(), .timeout = 1}), KX_FAILED);

  ASSERT_TRUE(started.wait());
  EXPECT_TRUE(browserProcess().isRunning());
}

TEST_F(LauncherProcess, ARunnersExitEndsTheBrowserOfALauncher) {
  const std::string profile = uniqueName("profile");
  browser_.start("-P \"" + profile + "\" -kx-pipe \"\\\\.\\pipe\\" + profile + ".runner\"");
  ASSERT_EQ(dll_.kxr_Init(context_, "fx", ("-runner -fxProfile " + profile).c_str(), 0, 30), KX_OK);
  const ObservedProcess process = browserProcess();

  EXPECT_EQ(dll_.kxr_Exit(context_, 30), KX_OK);

  EXPECT_EQ(process.exitCode(), kExitCodeOfItsOwn);
}

}  // namespace
