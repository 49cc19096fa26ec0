// The runner family: the host asks for the command line, starts the browser with it, connects and exits.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <thread>

namespace {

class Runner : public Conversation {
 protected:
  // The arguments as a host gets them: first the size, then the text.
  std::string commandLine(const std::string& type, const std::string& options,
                          const char* page = nullptr) const {
    const int size = dll_.kxr_GetCommandLine(type.c_str(), options.c_str(), nullptr, 0, page);
    std::string line(static_cast<std::size_t>(size), '?');
    EXPECT_EQ(dll_.kxr_GetCommandLine(type.c_str(), options.c_str(), line.data(), size, page), KX_OK);
    line.pop_back();
    return line;
  }

  int runnerInit(const std::string& type, const std::string& options, int timeout = 30,
                 int openNewBrowser = 0) const {
    return dll_.kxr_Init(context_, type.c_str(), options.c_str(), openNewBrowser, timeout);
  }
  int runnerExit(int timeout = 30) const { return dll_.kxr_Exit(context_, timeout); }

  // Starts the browser and connects to it.
  void run() {
    browser_.start(commandLine("fx", options_));
    ASSERT_EQ(runnerInit("fx", options_), KX_OK);
  }

  std::string firefoxPipe() const { return "\\\\.\\pipe\\" + profile_ + ".runner"; }

  SimulatedBrowser browser_;
  const std::string profile_ = uniqueName("profile");
  const std::string options_ = "-runner -fxProfile " + profile_;
};

TEST_F(Runner, FirefoxIsStartedWithItsProfileAndThePipeOfItsName) {
  const std::string line = commandLine("fx", options_);

  EXPECT_EQ(line, "-no-remote -P \"" + profile_ + "\" -kx-pipe \"" + firefoxPipe() + "\"");
  browser_.start(line);
  EXPECT_EQ(browser_.pipe(), firefoxPipe());
  EXPECT_EQ(runnerInit("fx", options_), KX_OK);
}

TEST_F(Runner, ChromeIsStartedWithItsFolderAndTheStartPage) {
  const std::string folder = user_.local() + "\\my " + uniqueName("data");
  const std::string options = "-runner -crUserDataDir \"" + folder + "\"";

  const std::string line = commandLine("cr", options);

  EXPECT_EQ(line, "--user-data-dir=\"" + folder + "\" " + startPageUrl("cr", folder));
  EXPECT_EQ(fileBytes(startPage(folder)), "<html><body></body></html>");
  browser_.start(line);
  EXPECT_EQ(browser_.pipe(), profilePipe("cr", folder));
  EXPECT_EQ(runnerInit("cr", options), KX_OK);
}

TEST_F(Runner, ChromeOpensTheHostsOwnPage) {
  const std::string folder = user_.local() + "\\" + uniqueName("data");
  const std::string options = "-runner -crUserDataDir " + folder;

  const std::string line = commandLine("cr", options, "C:\\start\\page.html");

  EXPECT_EQ(line, "--user-data-dir=\"" + folder +
                      "\" file://C:\\start\\page.html?pipe=" + profilePipe("cr", folder));
  EXPECT_FALSE(fileExists(startPage(folder)));
  browser_.start(line);
  EXPECT_EQ(runnerInit("cr", options), KX_OK);
}

TEST_F(Runner, TheProfilerIsASwitchOfFirefox) {
  const std::string line = commandLine("fx", options_ + " -profiler");

  EXPECT_EQ(line, "-no-remote -P \"" + profile_ + "\" -kx-pipe \"" + firefoxPipe() + "\" -kx-profiler");
  browser_.start(line);
  EXPECT_EQ(runnerInit("fx", options_ + " -profiler"), KX_OK);
}

TEST_F(Runner, TheProfilerIsNoSwitchOfChrome) {
  const std::string folder = "C:\\" + uniqueName("data");

  EXPECT_EQ(commandLine("cr", "-runner -profiler -crUserDataDir " + folder),
            "--user-data-dir=\"" + folder + "\" " + startPageUrl("cr", folder));
}

TEST_F(Runner, PlaysDoNotAskForProfilerData) {
  browser_.start(commandLine("fx", options_ + " -profiler"));
  ASSERT_EQ(runnerInit("fx", options_ + " -profiler"), KX_OK);

  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("extract x"));
}

TEST_F(Runner, TheBrowserCountsAsLaunched) {
  run();

  EXPECT_EQ(browser_.request(1), initRequest(false, true));
}

TEST_F(Runner, TheBrowserIsAskedForANewWindow) {
  browser_.start(commandLine("fx", options_));

  ASSERT_EQ(runnerInit("fx", options_, 30, 2), KX_OK);

  EXPECT_EQ(browser_.request(1), initRequest(true, true));
}

TEST_F(Runner, TheOwnPipeIsCalledUnknown) {
  run();

  EXPECT_EQ(browser_.nameLine(), ownPipe("fx", "unknonw") + "\n");
}

TEST_F(Runner, NoProcessIdIsKnown) {
  run();

  EXPECT_EQ(dll_.kx_GetBrowserProcessId(context_), 0);
}

TEST_F(Runner, AMacroIsPlayedAndReadBack) {
  run();
  setVariable("city", "Oslo");

  EXPECT_EQ(play("extract $(city)"), KX_OK);

  EXPECT_EQ(extract(), "Oslo");
  EXPECT_EQ(browser_.request(2), playRequest("extract $(city)", {{"city", "Oslo"}}));
}

TEST_F(Runner, TheExitEndsTheBrowserAndFreesTheContext) {
  browser_.script("on exit exit-code 7");
  run();
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(runnerExit(), KX_OK);

  EXPECT_EQ(browser_.request(2), exitRequest());
  EXPECT_EQ(process.exitCode(), 7U);
  EXPECT_FALSE(isInitialised());
}

TEST_F(Runner, TheExitDoesNotWaitForTheBrowsersEnd) {
  const NamedEvent leave;
  browser_.script("on exit send");
  browser_.script("on exit wait-event " + leave.name());
  run();

  EXPECT_EQ(runnerExit(), KX_OK);

  EXPECT_TRUE(browser_.isRunning());
  leave.signal();
  EXPECT_EQ(browser_.process().exitCode(), 0U);
}

TEST_F(Runner, AnExitThatIsNotAnsweredKeepsTheBrowser) {
  browser_.script("on exit 1 no-reply");
  run();
  const LogFile log;

  EXPECT_EQ(runnerExit(1), KX_TIMEOUT);

  EXPECT_TRUE(isInitialised());
  EXPECT_EQ(errorNumber(), KX_ERROR_TIMEOUT);
  EXPECT_EQ(errorText(), "Error while receiving response");
  EXPECT_EQ(occurrences(log.text(), "Error: BrowserInstance::terminate() failed\n"), 1);
  EXPECT_TRUE(browser_.isRunning());
}

TEST_F(Runner, AfterAnExitThatWasNotAnsweredTheConversationGoesOnToItsEnd) {
  browser_.script("on exit 1 no-reply");
  run();
  ASSERT_EQ(runnerExit(1), KX_TIMEOUT);

  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(extract(), "x");
  const ObservedProcess process = browser_.process();
  EXPECT_EQ(runnerExit(), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
  EXPECT_FALSE(isInitialised());
}

TEST_F(Runner, AnExitWithABrowserThatIsGoneKeepsTheContextInitialised) {
  run();
  browser_.kill();

  EXPECT_EQ(runnerExit(), KX_TIMEOUT);
  EXPECT_EQ(runnerExit(), KX_TIMEOUT);

  EXPECT_TRUE(isInitialised());
  EXPECT_EQ(errorText(), "Error while sending request");
  EXPECT_EQ(exit(), KX_OK) << "the other family gives it up";
}

TEST_F(Runner, AnAnswerWithAnErrorIsAnExit) {
  browser_.script("on exit result 9 not now");
  run();

  EXPECT_EQ(runnerExit(), KX_OK);

  EXPECT_FALSE(isInitialised());
}

TEST_F(Runner, ABrowserThatIsStartedLateIsWaitedFor) {
  const std::string line = commandLine("fx", options_);
  const LogFile log;
  const NamedEvent tried;
  const LogSignal afterSecondAttempt("Could not open pipe ", 2, [&] { tried.signal(); });
  std::thread host([&] {
    EXPECT_TRUE(tried.wait());
    browser_.start(line);
  });

  EXPECT_EQ(runnerInit("fx", options_), KX_OK);
  host.join();

  EXPECT_EQ(play("extract x"), KX_OK);
}

TEST_F(Runner, AnExtensionThatDoesNotConnectBackIsTriedAgain) {
  browser_.script("on handshake@1 hold");
  browser_.start(commandLine("fx", options_));

  EXPECT_EQ(runnerInit("fx", options_, 1), KX_OK);

  EXPECT_EQ(browser_.request(1, 2), initRequest(false, true));
}

TEST_F(Runner, AttemptsThatAreUsedUpAreAConnectionThatTimedOut) {
  const LogFile log;
  const ULONGLONG begin = ::GetTickCount64();

  EXPECT_EQ(runnerInit("fx", options_, 1), KX_FAILED);

  EXPECT_GE(::GetTickCount64(), begin + 2 * 2000 - 50) << "two pauses";
  EXPECT_EQ(errorNumber(), KX_ERROR_TIMEOUT);
  EXPECT_EQ(errorText(), "Connection timed out");
  EXPECT_FALSE(isInitialised());
  EXPECT_EQ(occurrences(log.text(), "Client: connecting to server using pipe " + firefoxPipe() + "\n"), 3);
  EXPECT_EQ(occurrences(log.text(), "Error: kxr_Init() Connection timed out, error (-3)\n"), 1);
}

TEST_F(Runner, WithoutATimeoutTheFirstFailureEndsTheStart) {
  const LogFile log;

  EXPECT_EQ(runnerInit("fx", options_, 0), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Could not open server pipe " + firefoxPipe());
  EXPECT_EQ(occurrences(log.text(), "Client: connecting to server using pipe "), 1);
  EXPECT_EQ(occurrences(log.text(),
                        "Error: kxr_Init() Could not open server pipe " + firefoxPipe() + ", error (-1)\n"),
            1);
}

TEST_F(Runner, AnUnansweredFirstRequestFailsAndLeavesTheBrowserRunning) {
  browser_.script("on init no-reply");
  browser_.start(commandLine("fx", options_));

  EXPECT_EQ(runnerInit("fx", options_, 1), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_TIMEOUT);
  EXPECT_EQ(errorText(), "Error while receiving response");
  EXPECT_FALSE(isInitialised());
  EXPECT_TRUE(browser_.isRunning());
  EXPECT_FALSE(browser_.hasRecorded("request-1-2.bin"));
}

TEST_F(Runner, AnExitAndAStartMayFollowEachOther) {
  browser_.script("on exit stay");
  run();
  ASSERT_EQ(runnerExit(), KX_OK);

  EXPECT_EQ(runnerInit("fx", options_), KX_OK);

  EXPECT_EQ(play("extract again"), KX_OK);
}

// kx_Init() names Firefox's pipe after the digest of the profile, the runner family after the profile itself.
TEST_F(Runner, ABrowserOfTheOtherFamilyIsNotFound) {
  browser_.start("-P \"" + profile_ + "\" --pipe=" + profilePipe("fx", profile_));

  EXPECT_EQ(runnerInit("fx", options_, 0), KX_FAILED);
}

TEST_F(Runner, ChromesPipeIsTheSameInBothFamilies) {
  const std::string folder = "C:\\" + uniqueName("data");
  const std::string options = "-runner -crUserDataDir " + folder;
  browser_.start(commandLine("cr", options));

  EXPECT_EQ(init({.browser = "cr", .options = options}), KX_OK);
}

TEST_F(Runner, AProfileNameThatIsTooLongForAPipeCannotBeConnectedTo) {
  const std::string profile(300, 'p');

  EXPECT_EQ(runnerInit("fx", "-runner -fxProfile " + profile, 0), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Could not open server pipe \\\\.\\pipe\\" + profile + ".runner");
}

}  // namespace
