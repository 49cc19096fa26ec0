// Starts that fail: programs that cannot be launched, browsers that never come to serve, extensions that
// break off the start.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <algorithm>
#include <thread>

namespace {

class StartFailure : public Conversation {
 protected:
  // A context whose start failed has no browser, keeps the error, and can be started again.
  void expectFailedStart(int number, const std::string& text) const {
    EXPECT_FALSE(isInitialised());
    EXPECT_EQ(errorNumber(), number);
    EXPECT_EQ(errorText(), text);
  }

  const LogFile log_;
};

TEST_F(StartFailure, AMissingProgramIsToldWithItsPath) {
  const std::string program = user_.local() + "\\missing.exe";

  EXPECT_EQ(init({.program = program}), ERROR_FILE_NOT_FOUND);

  expectFailedStart(-ERROR_FILE_NOT_FOUND, "Browser binary " + program + " doesn't exists");
  EXPECT_EQ(occurrences(log_.text(), "Error: Browser binary " + program + " doesn't exist\n"), 1);
}

TEST_F(StartFailure, AProgramInAMissingFolderIsToldWithoutItsPath) {
  const std::string program = user_.local() + "\\missing\\browser.exe";

  EXPECT_EQ(init({.program = program}), ERROR_PATH_NOT_FOUND);

  expectFailedStart(-ERROR_PATH_NOT_FOUND, "Error finding browser binary");
  EXPECT_EQ(occurrences(log_.text(), "Error: Error 3 calling FindFirstFileW on " + program + "\n"), 1);
}

TEST_F(StartFailure, AnEmptyPathIsNoPath) {
  const int result = init({.program = ""});

  EXPECT_GT(result, 0);
  EXPECT_EQ(errorNumber(), -result);
  EXPECT_FALSE(isInitialised());
}

TEST_F(StartFailure, AFileThatIsNoProgramCannotBeStarted) {
  const TempFolder folder;
  const std::string program = folder.write("browser.exe", "not a program");

  EXPECT_EQ(init({.program = program}), ERROR_BAD_EXE_FORMAT);

  expectFailedStart(-ERROR_BAD_EXE_FORMAT, "Couldn't start browser binary " + program);
  EXPECT_EQ(occurrences(log_.text(), "Error: Couldn't start browser binary " + program + "\n"), 1);
  EXPECT_EQ(occurrences(log_.text(), "Starting binary " + program + " \n"), 1);
}

TEST_F(StartFailure, AForwardSlashMakesNoFolderToStartIn) {
  SimulatedBrowser browser;
  std::string program = browser.program();
  std::replace(program.begin(), program.end(), '\\', '/');

  const int result = init({.program = program});

  EXPECT_GT(result, 0);
  expectFailedStart(-result, "Couldn't start browser binary " + program);
}

TEST_F(StartFailure, AStartPageThatCannotBeWrittenLaunchesNothing) {
  const SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  const EnvironmentVariable noFolder("TEMP", user_.temp() + "\\missing");
  const std::string page = user_.temp() + "\\missing\\" + md5Digest(profile) + ".html";

  EXPECT_EQ(init({.options = "-fxProfile " + profile, .program = browser.program()}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open temp file " + page);
  EXPECT_EQ(occurrences(log_.text(), "Error: Could not open temp file " + page + ", error 3\n"), 1);
  EXPECT_FALSE(browser.hasRecorded("command-line.txt"));
}

TEST_F(StartFailure, WithoutATempFolderNothingIsLaunchedOrWritten) {
  const SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  EnvironmentVariable noFolder("TEMP");
  noFolder.remove();

  EXPECT_EQ(init({.options = "-fxProfile " + profile, .program = browser.program()}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open temp file \\" + md5Digest(profile) + ".html");
  EXPECT_FALSE(browser.hasRecorded("command-line.txt"));
  EXPECT_FALSE(fileExists("\\" + md5Digest(profile) + ".html"));
}

TEST_F(StartFailure, AContextCanBeStartedAgain) {
  ASSERT_NE(init({.program = user_.local() + "\\missing.exe"}), KX_OK);
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(errorNumber(), KX_ERROR_SUCCESS);
}

TEST_F(StartFailure, TheErrorOfAStartIsThereAgainWhenALaterBrowserIsGone) {
  const std::string program = user_.local() + "\\missing.exe";
  ASSERT_NE(init({.program = program}), KX_OK);
  SimulatedBrowser browser;
  attach(browser);

  ASSERT_EQ(exit(), KX_OK);

  expectFailedStart(-ERROR_FILE_NOT_FOUND, "Browser binary " + program + " doesn't exists");
}

TEST_F(StartFailure, ABrowserThatDiesAtItsStartUsesUpTheAttempts) {
  SimulatedBrowser browser;
  browser.script("on start die 3");

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open server pipe " + defaultPipe());
  EXPECT_EQ(browser.processIds().size(), 1U);
}

TEST_F(StartFailure, ABrowserThatNeverServesIsKilledWhenTheAttemptsAreUsedUp) {
  SimulatedBrowser browser;
  browser.script("serve-never");

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open server pipe " + defaultPipe());
  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(StartFailure, AnUnknownBrowserIsLaunchedWithoutAnythingAndEnded) {
  SimulatedBrowser browser;

  EXPECT_EQ(init({.browser = "FX",
                  .options = "-fxProfile dev -crUserDataDir C:\\data",
                  .program = browser.program(),
                  .timeout = 1}),
            KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open server pipe ");
  EXPECT_EQ(browser.commandLine(), browser.program());
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(StartFailure, AnExtensionThatNeverConnectsBackEndsTheStartWithATimeout) {
  SimulatedBrowser browser;
  browser.script("on handshake hold");
  browser.start();
  const SimulatedBrowser other;

  EXPECT_EQ(init({.program = other.program(), .timeout = 1}), KX_TIMEOUT);

  expectFailedStart(KX_ERROR_TIMEOUT, "Failed to establish connection");
  EXPECT_EQ(occurrences(log_.text(), "Client: connecting to server using pipe "), 1);
  EXPECT_FALSE(other.hasRecorded("command-line.txt"));
  EXPECT_TRUE(browser.isRunning());
}

TEST_F(StartFailure, ALaunchedBrowserThatNeverConnectsBackIsEnded) {
  SimulatedBrowser browser;
  browser.script("on handshake hold");

  EXPECT_EQ(init({.program = browser.program(), .timeout = 4}), KX_TIMEOUT);

  expectFailedStart(KX_ERROR_TIMEOUT, "Failed to establish connection");
  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(StartFailure, ATimeoutOfTheLastAttemptCountsAsAttemptsUsedUp) {
  SimulatedBrowser browser;
  browser.script("on handshake hold");

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_TIMEOUT, "Failed to establish connection");
  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(StartFailure, AnExtensionThatLeavesAfterTheNameLineEndsTheStartWithATimeout) {
  SimulatedBrowser browser;
  browser.script("on handshake hang-up");
  browser.start();

  EXPECT_EQ(init({.timeout = 1}), KX_TIMEOUT);

  expectFailedStart(KX_ERROR_TIMEOUT, "Failed to establish connection");
}

TEST_F(StartFailure, AnExtensionThatConnectsBackLateIsWaitedFor) {
  SimulatedBrowser browser;
  const NamedEvent go;
  browser.script("on handshake wait-event " + go.name());
  browser.start();
  const LogSignal whileWaiting("Client: waiting for server connection", 1, [&] { go.signal(); });

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(play("extract x"), KX_OK);
}

TEST_F(StartFailure, WithoutATimeoutAnExtensionThatConnectsBackLateIsWaitedForToo) {
  SimulatedBrowser browser;
  const NamedEvent go;
  browser.script("on handshake wait-event " + go.name());
  browser.script("on handshake delay 300");
  browser.start();
  const LogSignal whileWaiting("Client: waiting for server connection", 1, [&] { go.signal(); });

  EXPECT_EQ(init({.timeout = 0}), KX_OK);
}

TEST_F(StartFailure, AnExtensionThatConnectedAndLeftLeadsToTheLaunch) {
  SimulatedBrowser browser;
  browser.script("early-connect");
  browser.script("on connected hang-up");
  browser.start();

  EXPECT_EQ(init({.program = user_.local() + "\\missing.exe"}), ERROR_FILE_NOT_FOUND);

  const std::string log = log_.text();
  EXPECT_EQ(occurrences(log, "Error: pipe_accept: wait error 232\n"), 1);
  EXPECT_EQ(occurrences(log, "Error: Client: (pipe_accept) error=232\n"), 1);
}

TEST_F(StartFailure, ANameLineThatNobodyReadsEndsTheStartWithATimeout) {
  SimulatedBrowser browser;
  browser.script("server-buffer 1");
  browser.script("on connect hold");
  browser.start();

  EXPECT_EQ(init({.timeout = 1}), KX_TIMEOUT);

  expectFailedStart(KX_ERROR_TIMEOUT, "Could not write into pipe");
  EXPECT_EQ(occurrences(log_.text(), "Error: pipe_write: timeout\n"), 1);
  EXPECT_EQ(occurrences(log_.text(), "Error: BrowserInstance::connect() writing into pipe error "), 1);
  EXPECT_EQ(occurrences(log_.text(), "Client: waiting for server connection"), 0);
}

TEST_F(StartFailure, AnExtensionThatClosesThePipeWithoutReadingLeadsToTheLaunch) {
  SimulatedBrowser browser;
  const NamedEvent writing;
  browser.script("server-buffer 1");
  browser.script("on connect wait-event " + writing.name());
  browser.script("on connect hang-up");
  browser.start();
  const LogSignal atTheWrite("Sending connection data [", 1, [&] { writing.signal(); });

  EXPECT_EQ(init({.program = user_.local() + "\\missing.exe"}), ERROR_FILE_NOT_FOUND);

  EXPECT_EQ(occurrences(log_.text(), "Error: BrowserInstance::connect() writing into pipe error "), 1);
}

TEST_F(StartFailure, AnUnansweredFirstRequestFailsWithATimeout) {
  SimulatedBrowser browser;
  browser.script("on init no-reply");
  browser.start();

  EXPECT_EQ(init({.timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_TIMEOUT, "Error while receiving response");
  EXPECT_TRUE(browser.isRunning()) << "it was not launched by this start";
}

TEST_F(StartFailure, AnUnansweredFirstRequestEndsTheLaunchedBrowser) {
  SimulatedBrowser browser;
  browser.script("on init no-reply");

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_TIMEOUT, "Error while receiving response");
  EXPECT_EQ(browser.request(2), exitRequest());
  EXPECT_FALSE(browser.isRunning());
}

// The time-out of the start does not bound it: a browser that takes longer to leave is not killed.
TEST_F(StartFailure, TheExitOfAnAbandonedBrowserIsWaitedForWithoutTheStartsTimeout) {
  SimulatedBrowser browser;
  browser.script("on init no-reply");
  browser.script("on exit delay 1500");

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  EXPECT_EQ(occurrences(log_.text(), "kill browser process"), 0);
  EXPECT_EQ(browser.events("end "), std::vector<std::string>{"end code=0 reason=exit"});
}

TEST_F(StartFailure, AFirstRequestThatIsCutOffFailsAndEndsTheLaunchedBrowser) {
  SimulatedBrowser browser;
  browser.script("on before-request 1 read 5");
  browser.script("on before-request 1 hang-up");

  EXPECT_EQ(init({.program = browser.program()}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Server unexpectedly closed connection");
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(StartFailure, AFirstAnswerOfGarbageFails) {
  SimulatedBrowser browser;
  browser.script("on init reply OK");
  browser.start();

  EXPECT_EQ(init({}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Error in response processing");
}

TEST_F(StartFailure, AFirstAnswerThatReportsAnErrorIsAnAnswer) {
  SimulatedBrowser browser;
  browser.script("on init result 7 Not now");
  browser.start();

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_TRUE(isInitialised());
  EXPECT_EQ(errorNumber(), -7);
  EXPECT_EQ(errorText(), "Not now");
}

TEST_F(StartFailure, APortIsRefusedBeforeAnythingHappens) {
  const SimulatedBrowser browser;

  EXPECT_EQ(dll_.kx_Init(context_, "fx", "", browser.program().c_str(), 1, 0, 1), KX_FAILED);

  expectFailedStart(KX_ERROR_NONE, "");
  EXPECT_EQ(occurrences(log_.text(), "Error: TCP protocol is no longer supported\n"), 1);
  EXPECT_FALSE(browser.hasRecorded("command-line.txt"));
}

TEST_F(StartFailure, WithoutAPathFirefoxIsLookedForInOnePlaceOnly) {
  const std::string program = "c:\\Program Files\\Mozilla Firefox\\firefox.exe";
  if (fileExists(program)) {
    GTEST_SKIP() << "Firefox is installed here and would be launched";
  }

  const int result = dll_.kx_Init(context_, "fx", nullptr, nullptr, 0, 0, 1);

  EXPECT_EQ(result, ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(occurrences(log_.text(), "Error: Error 3 calling FindFirstFileW on " + program + "\n"), 1);
}

TEST_F(StartFailure, AnUnknownBrowserWithoutAPathIsNotLookedForAnywhere) {
  const int result = dll_.kx_Init(context_, "ie", nullptr, nullptr, 0, 0, 1);

  EXPECT_GT(result, 0);
  EXPECT_EQ(errorNumber(), -result);
  EXPECT_EQ(occurrences(log_.text(), "Error: Browser binary  doesn't exist\n") +
                occurrences(log_.text(), " calling FindFirstFileW on \n"),
            1);
}

// An object of another kind has taken the lock's name.
class NoStartLock : public StartFailure {
 protected:
  const NamedEvent taken_{"kx-fx-default." + user_.name() + ".lock"};
};

TEST_F(NoStartLock, NothingIsConnectedWithoutIt) {
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({.program = user_.local() + "\\missing.exe"}), ERROR_FILE_NOT_FOUND)
      << "the launch is tried";

  const std::string log = log_.text();
  EXPECT_EQ(occurrences(log, "Error: Could not create binary start lock " + taken_.name() + ", error 6\n"),
            1);
  EXPECT_EQ(occurrences(log, "Client: connecting to server"), 0);
  EXPECT_EQ(browser.events("conn=").size(), 0U);
}

TEST_F(NoStartLock, AttemptsThatCannotTakeItAreUsedUp) {
  SimulatedBrowser browser;

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not acquire connection lock");
  EXPECT_FALSE(browser.isRunning());
}

// Somebody serves a pipe of the library's own name and lets nobody serve it beside him. The name is that of a
// thread on which no other test has left a connection.
TEST_F(StartFailure, WithoutAnOwnPipeTheErrorIsThatOfWindows) {
  SimulatedBrowser browser;

  std::thread([&] {
    const std::string pipe = ownPipe("fx", "default");
    const HANDLE taken =
        ::CreateNamedPipeW(wide(pipe).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 512, 512, 0, nullptr);
    ASSERT_NE(taken, INVALID_HANDLE_VALUE);

    EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

    ::CloseHandle(taken);
    expectFailedStart(-ERROR_PIPE_BUSY, "Could not create communication channel");
    const std::string log = log_.text();
    EXPECT_EQ(occurrences(log, "Error: Could not create pipe " + pipe + ", error = 231\n"), 1);
    EXPECT_EQ(occurrences(
                  log, "Error: BrowserInstance::connect() Error creating pipe cli=" + pipe + ", error=231\n"),
              1);
  }).join();

  EXPECT_FALSE(browser.isRunning());
}

TEST_F(StartFailure, ANegativeTimeoutWaitsForTheExtension) {
  SimulatedBrowser browser;
  browser.script("on handshake delay 1200");
  browser.start();

  EXPECT_EQ(init({.timeout = -1}), KX_OK);
}

TEST_F(StartFailure, AProgramPathThatIsTooLongIsToldAsAnError) {
  const std::string program = "C:\\" + std::string(300, 'p') + "\\browser.exe";

  const int result = init({.program = program});

  EXPECT_GT(result, 0);
  expectFailedStart(-result, "Error finding browser binary");
}

}  // namespace
