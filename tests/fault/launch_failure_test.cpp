// Starts that fail before an extension is met: programs that cannot be launched, start pages that cannot be
// written, browsers that never come to serve their pipe.
#include "fault/start_failure.h"

#include <algorithm>

namespace {

class LaunchFailure : public StartFailure {};

TEST_F(LaunchFailure, AMissingProgramIsToldWithItsPath) {
  const std::string program = user_.local() + "\\missing.exe";

  EXPECT_EQ(init({.program = program}), ERROR_FILE_NOT_FOUND);

  expectFailedStart(-ERROR_FILE_NOT_FOUND, "Browser binary " + program + " doesn't exists");
  EXPECT_EQ(occurrences(log_.text(), "Error: Browser binary " + program + " doesn't exist\n"), 1);
}

TEST_F(LaunchFailure, AProgramInAMissingFolderIsToldWithoutItsPath) {
  const std::string program = user_.local() + "\\missing\\browser.exe";

  EXPECT_EQ(init({.program = program}), ERROR_PATH_NOT_FOUND);

  expectFailedStart(-ERROR_PATH_NOT_FOUND, "Error finding browser binary");
  EXPECT_EQ(occurrences(log_.text(), "Error: Error 3 calling FindFirstFileW on " + program + "\n"), 1);
}

TEST_F(LaunchFailure, AnEmptyPathIsNoPath) {
  const int result = init({.program = ""});

  EXPECT_GT(result, 0);
  EXPECT_EQ(errorNumber(), -result);
  EXPECT_FALSE(isInitialised());
}

TEST_F(LaunchFailure, AFileThatIsNoProgramCannotBeStarted) {
  const TempFolder folder;
  const std::string program = folder.write("browser.exe", "not a program");

  EXPECT_EQ(init({.program = program}), ERROR_BAD_EXE_FORMAT);

  expectFailedStart(-ERROR_BAD_EXE_FORMAT, "Couldn't start browser binary " + program);
  EXPECT_EQ(occurrences(log_.text(), "Error: Couldn't start browser binary " + program + "\n"), 1);
  EXPECT_EQ(occurrences(log_.text(), "Starting binary " + program + " \n"), 1);
}

TEST_F(LaunchFailure, AForwardSlashMakesNoFolderToStartIn) {
  SimulatedBrowser browser;
  std::string program = browser.program();
  std::replace(program.begin(), program.end(), '\\', '/');

  const int result = init({.program = program});

  EXPECT_GT(result, 0);
  expectFailedStart(-result, "Couldn't start browser binary " + program);
}

TEST_F(LaunchFailure, AStartPageThatCannotBeWrittenLaunchesNothing) {
  const SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  const EnvironmentVariable noFolder("TEMP", user_.temp() + "\\missing");
  const std::string page = user_.temp() + "\\missing\\" + md5Digest(profile) + ".html";

  EXPECT_EQ(init({.options = "-fxProfile " + profile, .program = browser.program()}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open temp file " + page);
  EXPECT_EQ(occurrences(log_.text(), "Error: Could not open temp file " + page + ", error 3\n"), 1);
  EXPECT_FALSE(browser.hasRecorded("command-line.txt"));
}

TEST_F(LaunchFailure, WithoutATempFolderNothingIsLaunchedOrWritten) {
  const SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  EnvironmentVariable noFolder("TEMP");
  noFolder.remove();

  EXPECT_EQ(init({.options = "-fxProfile " + profile, .program = browser.program()}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open temp file \\" + md5Digest(profile) + ".html");
  EXPECT_FALSE(browser.hasRecorded("command-line.txt"));
  EXPECT_FALSE(fileExists("\\" + md5Digest(profile) + ".html"));
}

TEST_F(LaunchFailure, APathWithoutABackslashHasNoFolderToStartIn) {
  const SimulatedBrowser browser;
  std::string program = browser.program();
  std::replace(program.begin(), program.end(), '\\', '/');

  EXPECT_EQ(init({.program = program}), ERROR_DIRECTORY);

  expectFailedStart(-ERROR_DIRECTORY, "Couldn't start browser binary " + program);
  EXPECT_FALSE(browser.hasRecorded("command-line.txt"));
}

TEST_F(LaunchFailure, AContextCanBeStartedAgain) {
  ASSERT_NE(init({.program = user_.local() + "\\missing.exe"}), KX_OK);
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(errorNumber(), KX_ERROR_SUCCESS);
}

TEST_F(LaunchFailure, TheErrorOfAStartIsThereAgainWhenALaterBrowserIsGone) {
  const std::string program = user_.local() + "\\missing.exe";
  ASSERT_NE(init({.program = program}), KX_OK);
  SimulatedBrowser browser;
  attach(browser);

  ASSERT_EQ(exit(), KX_OK);

  expectFailedStart(-ERROR_FILE_NOT_FOUND, "Browser binary " + program + " doesn't exists");
}

TEST_F(LaunchFailure, ABrowserThatNeverServesIsKilledWhenTheAttemptsAreUsedUp) {
  SimulatedBrowser browser;
  browser.script("serve-never");
  const LogSignal started = untilItHasStarted(browser);

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open server pipe " + defaultPipe());
  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(LaunchFailure, AnUnknownBrowserIsLaunchedWithoutAnythingAndEnded) {
  SimulatedBrowser browser;
  const LogSignal started = untilItHasStarted(browser);

  EXPECT_EQ(init({.browser = "FX",
                  .options = "-fxProfile dev -crUserDataDir C:\\data",
                  .program = browser.program(),
                  .timeout = 1}),
            KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not open server pipe ");
  EXPECT_EQ(browser.commandLine(), browser.program());
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(LaunchFailure, APortIsRefusedBeforeAnythingHappens) {
  const SimulatedBrowser browser;

  EXPECT_EQ(dll_.kx_Init(context_, "fx", "", browser.program().c_str(), 1, 0, 1), KX_FAILED);

  expectFailedStart(KX_ERROR_NONE, "");
  EXPECT_EQ(occurrences(log_.text(), "Error: TCP protocol is no longer supported\n"), 1);
  EXPECT_FALSE(browser.hasRecorded("command-line.txt"));
}

TEST_F(LaunchFailure, WithoutAPathFirefoxIsLookedForInOnePlaceOnly) {
  const std::string program = "c:\\Program Files\\Mozilla Firefox\\firefox.exe";
  if (fileExists(program)) {
    GTEST_SKIP() << "Firefox is installed here and would be launched";
  }

  const int result = dll_.kx_Init(context_, "fx", nullptr, nullptr, 0, 0, 1);

  EXPECT_EQ(result, ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(occurrences(log_.text(), "Error: Error 3 calling FindFirstFileW on " + program + "\n"), 1);
}

TEST_F(LaunchFailure, AnUnknownBrowserWithoutAPathIsNotLookedForAnywhere) {
  const int result = dll_.kx_Init(context_, "ie", nullptr, nullptr, 0, 0, 1);

  EXPECT_GT(result, 0);
  EXPECT_EQ(errorNumber(), -result);
  EXPECT_EQ(occurrences(log_.text(), "Error: Browser binary  doesn't exist\n") +
                occurrences(log_.text(), " calling FindFirstFileW on \n"),
            1);
}

TEST_F(LaunchFailure, AProgramPathThatIsTooLongIsToldAsAnError) {
  const std::string program = "C:\\" + std::string(300, 'p') + "\\browser.exe";

  const int result = init({.program = program});

  EXPECT_GT(result, 0);
  expectFailedStart(-result, "Error finding browser binary");
}

}  // namespace
