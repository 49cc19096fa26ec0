// kx_Init() launches the browser: the command line and the folder that a real process gets, and the pipe on
// which it is met.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <algorithm>
#include <ostream>

namespace {

struct LaunchOptions {
  const char* name;
  const char* browser;
  std::string options;
  std::string profile;    // what the options name, if anything
  std::string arguments;  // of the browser, in front of the start page
};

std::ostream& operator<<(std::ostream& stream, const LaunchOptions& launch) {
  return stream << launch.name;
}

class Launch : public Conversation, public ::testing::WithParamInterface<LaunchOptions> {};

// Program and start page lie in folders with blanks, so that both are quoted.
TEST_P(Launch, ALaunchedBrowserGetsItsArgumentsAndIsMetOnItsPipe) {
  const LaunchOptions& options = GetParam();
  SimulatedBrowser browser(uniqueName(options.browser == std::string("cr") ? "chrome" : "firefox") + ".exe",
                           "program files");
  const TempFolder pages("start pages");
  const EnvironmentVariable temp("TEMP", pages.path());
  const bool hasProfile = !options.profile.empty();

  ASSERT_EQ(init({options.browser, options.options, browser.program()}), KX_OK);

  const std::string page = hasProfile ? " \"" + startPageUrl(options.browser, options.profile) + "\"" : "";
  EXPECT_EQ(browser.commandLine(), "\"" + browser.program() + "\"" + options.arguments + page);
  EXPECT_EQ(browser.workingDirectory(), browser.folder());
  EXPECT_EQ(browser.pipe(),
            hasProfile ? profilePipe(options.browser, options.profile) : defaultPipe(options.browser));
  EXPECT_EQ(browser.events("init "), std::vector<std::string>{"init open-new-browser=false launched=true"});
  EXPECT_EQ(browserProcessId(), browser.processId());
  EXPECT_EQ(exit(), KX_OK);
  EXPECT_FALSE(browser.isRunning());
}

// Pipes are called after the profile, so each run has profiles of its own.
std::vector<LaunchOptions> launchOptions() {
  const std::string own = uniqueName("profile");
  const std::string named = "my " + own;
  const std::string folder = "C:\\data of " + own;
  return {
      {"Firefox", "fx", "", "", ""},
      {"Chrome", "cr", "", "", ""},
      {"FirefoxWithAProfile", "fx", "-fxProfile \"" + named + "\"", named,
       " -no-remote -P \"" + named + "\""},
      {"TheLastOfTwoProfiles", "fx", "-fxProfile first -profiler -fxProfile=" + own, own,
       " -no-remote -P \"" + own + "\""},
      {"ChromeWithAFolder", "cr", "-crUserDataDir \"" + folder + "\"", folder,
       " --user-data-dir=\"" + folder + "\""},
      {"ChromeWithAFolderThatEndsInABackslash", "cr", "-crUserDataDir C:\\" + own + "\\", "C:\\" + own,
       " --user-data-dir=\"C:\\" + own + "\\\""},
  };
}

INSTANTIATE_TEST_SUITE_P(Options, Launch, ::testing::ValuesIn(launchOptions()),
                         [](const auto& tested) { return tested.param.name; });

class LaunchAttempt : public Conversation {
 protected:
  const LogFile log_;
};

TEST_F(LaunchAttempt, ABrowserIsLaunchedOnceHoweverLateItServesItsPipe) {
  SimulatedBrowser browser;
  const NamedEvent go;
  browser.script("on serve wait-event " + go.name());
  const LogSignal afterSecondAttempt("Could not open pipe ", 2, [&] { go.signal(); });

  EXPECT_EQ(init({.program = browser.program()}), KX_OK);

  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(LaunchAttempt, AProfileThatARunningFirefoxHoldsIsLaunchedOnceItIsFree) {
  user_.writeProfiles("[Profile0]\nName=dev\nIsRelative=1\nPath=Profiles/dev\nDefault=1\n");
  std::filesystem::create_directories(wide(user_.roaming() + "\\Mozilla\\Firefox\\Profiles\\dev"));
  SimulatedBrowser running;
  SimulatedBrowser launched;
  const NamedEvent locked;
  const NamedEvent leave;
  for (const std::string& action : {std::string("lock-profile"), "set-event " + locked.name(),
                                    "wait-event " + leave.name(), std::string("die 0")}) {
    running.script("on start " + action);
  }
  running.startOnly();
  ASSERT_TRUE(locked.wait());
  bool wasHeld = false;
  const LogSignal afterFirstAttempt("Client: connect failed but lock present", 1, [&] {
    wasHeld = !launched.hasRecorded("command-line.txt");
    leave.signal();
  });

  EXPECT_EQ(init({.program = launched.program()}), KX_OK);

  EXPECT_TRUE(wasHeld);
  EXPECT_EQ(browserProcessId(), launched.processId());
  EXPECT_EQ(exit(), KX_OK);
}

// A forward slash makes no folder to start in, and a program needs one.
TEST_F(LaunchAttempt, AProgramWithoutABackslashInItsPathCannotBeLaunched) {
  const SimulatedBrowser browser;
  std::string program = browser.program();
  std::replace(program.begin(), program.end(), '\\', '/');

  EXPECT_EQ(init({.program = program}), ERROR_DIRECTORY);

  EXPECT_EQ(errorNumber(), -ERROR_DIRECTORY);
  EXPECT_EQ(errorText(), "Couldn't start browser binary " + program);
  EXPECT_FALSE(browser.hasRecorded("command-line.txt"));
}

}  // namespace
