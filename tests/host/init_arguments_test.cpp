// What kx_Init makes of its arguments: the start entry, the port, the browser's name, and the pipe that
// follows from the profile.
#include "host/host_test.h"
#include "host/partner.h"

#include <climits>
#include <ostream>
#include <string>

namespace {

constexpr char kMissingProgram[] = "C:\\windows\\no_such_browser.exe";
constexpr char kMissingProgramText[] = "Browser binary C:\\windows\\no_such_browser.exe doesn't exists";

class InitArguments : public HostTest {
 protected:
  void SetUp() override { context = dll.kx_ContextCreate(); }

  // The log of a start that found neither an extension on this pipe nor a browser to launch.
  HostLog& nobodyThere(HostLog& expected, const std::string& pipe, bool looksForProfiles) const {
    expected.notFound(pipe);
    if (looksForProfiles) {
      expected.noProfiles();
    }
    expected.error(std::string("Browser binary ") + kMissingProgram + " doesn't exist");
    return expected.error(std::string("kx_Init(): ") + kMissingProgramText + ", error (2)");
  }

  const std::string withProfile = "-fxProfile " + firefoxProfile;
  const std::string withDataFolder = "-crUserDataDir=" + dataFolder;
  int context = -1;
};

TEST_F(InitArguments, AreLoggedAsTheyCame) {
  EXPECT_EQ(dll.kx_Init(context, "fx", "-a b", "C:\\b.exe", 7, -2, -5), KX_FAILED);

  EXPECT_EQ(log.text(), HostLog()
                            .info("kx_Init start, browser = fx, options = -a b, binary_location = C:\\b.exe, "
                                  "port = 7, openNewBrowser = -2, timeout = -5")
                            .error("TCP protocol is no longer supported")
                            .text());
}

TEST_F(InitArguments, ThatAreNullAreLoggedAsSuch) {
  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, nullptr, 1, 0, 0), KX_FAILED);

  EXPECT_EQ(log.text(), HostLog()
                            .info("kx_Init start, browser = cr, options = (null), binary_location = (null), "
                                  "port = 1, openNewBrowser = 0, timeout = 0")
                            .error("TCP protocol is no longer supported")
                            .text());
}

TEST_F(InitArguments, MayHoldPercentSigns) {
  EXPECT_EQ(dll.kx_Init(context, "%s%n", "%d%s%n", "%x%p", 1, 0, 0), KX_FAILED);

  EXPECT_EQ(
      log.text(),
      HostLog().start("%s%n", "%d%s%n", "%x%p", 1, 0, 0).error("TCP protocol is no longer supported").text());
}

TEST_F(InitArguments, WithAnyPortAreRefused) {
  for (const int port : {1, -1, 8080, INT_MIN, INT_MAX}) {
    EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, port, 0, 1), KX_FAILED) << port;
  }
}

TEST_F(InitArguments, WithAPortLeaveTheContextWithoutABrowserAndItsErrorAsItWas) {
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, kMissingProgram, 0, 0, 1), 2);

  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 1, 0, 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -2);
  EXPECT_EQ(dll.lastErrorText(context), kMissingProgramText);
  EXPECT_EQ(dll.kx_Exit(context, 1), KX_FAILED);
}

TEST_F(InitArguments, WithAPortLeaveABrowserThatIsThereAlone) {
  FakeExtension extension(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 1, 0, 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 1);
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
}

TEST_F(InitArguments, WithAPortWriteNoStartPage) {
  dll.kx_Init(context, "cr", withDataFolder.c_str(), nullptr, 1, 0, 1);

  EXPECT_FALSE(fileExists(startPage(dataFolder)));
}

TEST_F(InitArguments, WithoutAProfileLeadFirefoxToItsDefaultPipe) {
  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissingProgram, 0, 0, 1), 2);

  HostLog expected;
  expected.start("fx", "(null)", kMissingProgram, 0, 0, 1).noProfiles();
  EXPECT_EQ(log.text(), nobodyThere(expected, defaultPipe("fx"), true).text());
}

TEST_F(InitArguments, WithoutAProfileLeadChromeToItsDefaultPipe) {
  EXPECT_EQ(dll.kx_Init(context, "cr", "", kMissingProgram, 0, 1, 1), 2);

  HostLog expected;
  expected.start("cr", "", kMissingProgram, 0, 1, 1);
  EXPECT_EQ(log.text(), nobodyThere(expected, defaultPipe("cr"), false).text());
}

TEST_F(InitArguments, WithAProfileLeadFirefoxToThePipeOfItsDigest) {
  EXPECT_EQ(dll.kx_Init(context, "fx", withProfile.c_str(), kMissingProgram, 0, 0, 1), 2);

  HostLog expected;
  expected.start("fx", withProfile, kMissingProgram, 0, 0, 1);
  EXPECT_EQ(log.text(), nobodyThere(expected, profilePipe("fx", firefoxProfile), true).text());
  EXPECT_TRUE(fileExists(startPage(firefoxProfile)));
}

TEST_F(InitArguments, WithADataFolderLeadChromeToThePipeOfItsDigest) {
  EXPECT_EQ(dll.kx_Init(context, "cr", withDataFolder.c_str(), kMissingProgram, 0, 0, 1), 2);

  HostLog expected;
  expected.start("cr", withDataFolder, kMissingProgram, 0, 0, 1);
  EXPECT_EQ(log.text(), nobodyThere(expected, profilePipe("cr", dataFolder), false).text());
  EXPECT_TRUE(fileExists(startPage(dataFolder)));
}

TEST_F(InitArguments, LeadAFolderWithATrailingBackslashToTheSamePipeAndPage) {
  EXPECT_EQ(dll.kx_Init(context, "cr", (withDataFolder + "\\").c_str(), kMissingProgram, 0, 0, 1), 2);

  EXPECT_NE(log.text().find("using pipe " + profilePipe("cr", dataFolder) + "\n"), std::string::npos);
  EXPECT_TRUE(fileExists(startPage(dataFolder)));
}

TEST_F(InitArguments, WithTheOtherBrowsersOptionLeadToTheDefaultPipe) {
  dll.kx_Init(context, "fx", withDataFolder.c_str(), kMissingProgram, 0, 0, 1);
  EXPECT_NE(log.text().find("using pipe " + defaultPipe("fx") + "\n"), std::string::npos);

  log.clear();
  dll.kx_Init(context, "cr", withProfile.c_str(), kMissingProgram, 0, 0, 1);
  EXPECT_NE(log.text().find("using pipe " + defaultPipe("cr") + "\n"), std::string::npos);
}

TEST_F(InitArguments, ThatMisspellAnOptionLeadToTheDefaultPipe) {
  for (const char* misspelt : {"-fxprofile ", "--fxProfile ", "fxProfile=", "/fxProfile "}) {
    log.clear();

    dll.kx_Init(context, "fx", (misspelt + firefoxProfile).c_str(), kMissingProgram, 0, 0, 1);

    EXPECT_NE(log.text().find("using pipe " + defaultPipe("fx") + "\n"), std::string::npos) << misspelt;
  }
}

TEST_F(InitArguments, TakeTheLastOfAnOptionThatIsGivenTwice) {
  dll.kx_Init(context, "cr", ("-crUserDataDir C:\\other -crUserDataDir \"" + dataFolder + "\"").c_str(),
              kMissingProgram, 0, 0, 1);

  EXPECT_NE(log.text().find("using pipe " + profilePipe("cr", dataFolder) + "\n"), std::string::npos);
}

TEST_F(InitArguments, WithABrowserInOtherLettersHaveNeitherPipeNorProfile) {
  EXPECT_EQ(dll.kx_Init(context, "FX", withProfile.c_str(), kMissingProgram, 0, 0, 1), 2);

  EXPECT_EQ(log.text(), HostLog()
                            .start("FX", withProfile, kMissingProgram, 0, 0, 1)
                            .info("Client: connecting to server using pipe ")
                            .info("Could not open pipe , error = 3")
                            .error(std::string("Browser binary ") + kMissingProgram + " doesn't exist")
                            .error(std::string("kx_Init(): ") + kMissingProgramText + ", error (2)")
                            .text());
  EXPECT_FALSE(fileExists(startPage(firefoxProfile)));
}

struct NoProgram {
  std::string name;
  std::string path;
  int error;
};

void PrintTo(const NoProgram& program, std::ostream* stream) {
  *stream << program.name;
}

class UnfindableProgram : public InitArguments, public ::testing::WithParamInterface<NoProgram> {};

TEST_P(UnfindableProgram, FailsTheStartWithTheSystemsError) {
  const std::string error = std::to_string(GetParam().error);

  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, GetParam().path.c_str(), 0, 0, 1), GetParam().error);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -GetParam().error);
  EXPECT_EQ(dll.lastErrorText(context), "Error finding browser binary");
  EXPECT_EQ(log.text(), HostLog()
                            .start("cr", "(null)", GetParam().path, 0, 0, 1)
                            .notFound(defaultPipe("cr"))
                            .error("Error " + error + " calling FindFirstFileW on " + GetParam().path)
                            .error("kx_Init(): Error finding browser binary, error (" + error + ")")
                            .text());
}

INSTANTIATE_TEST_SUITE_P(
    Path, UnfindableProgram,
    ::testing::Values(NoProgram{"ThatIsEmpty", "", 3}, NoProgram{"InQuotes", "\"C:\\browser.exe\"", 123},
                      NoProgram{"InAFolderThatIsNone", "C:\\no_such_folder\\browser.exe", 3}),
    [](const auto& test) { return test.param.name; });

TEST_F(InitArguments, WithoutAPathLookForChromeInTheUsersOwnFolder) {
  const TempFolder folder("local");
  const EnvironmentVariable local("LOCALAPPDATA", folder.path());
  std::filesystem::create_directories(wide(folder.path("Google\\Chrome\\Application")));
  const std::string path = folder.path("Google\\Chrome\\Application\\chrome.exe");

  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, nullptr, 0, 0, 1), 2);

  EXPECT_EQ(dll.lastErrorText(context), "Browser binary " + path + " doesn't exists");
}

TEST_F(InitArguments, WithoutAPathLookForFirefoxInItsUsualFolder) {
  constexpr char kFirefox[] = "c:\\Program Files\\Mozilla Firefox\\firefox.exe";
  if (fileExists(kFirefox)) {
    GTEST_SKIP() << "a real Firefox is installed, and would be launched";
  }

  EXPECT_NE(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 1), KX_OK);

  EXPECT_NE(log.text().find(kFirefox), std::string::npos);
}

TEST_F(InitArguments, WithoutAPathHaveNoProgramForAnotherBrowser) {
  EXPECT_EQ(dll.kx_Init(context, "FX", nullptr, nullptr, 0, 0, 1), 3);

  EXPECT_NE(log.text().find("Error: Error 3 calling FindFirstFileW on \n"), std::string::npos);
}

TEST_F(InitArguments, WithAFileThatIsNoProgramFailTheStart) {
  const TempFolder folder("file");
  const std::string path = folder.write("no program.txt", "text");

  EXPECT_EQ(dll.kx_Init(context, "cr", withDataFolder.c_str(), path.c_str(), 0, 0, 1), ERROR_BAD_EXE_FORMAT);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -ERROR_BAD_EXE_FORMAT);
  EXPECT_EQ(dll.lastErrorText(context), "Couldn't start browser binary " + path);
  const std::string pipe = profilePipe("cr", dataFolder);
  EXPECT_EQ(log.text(), HostLog()
                            .start("cr", withDataFolder, path, 0, 0, 1)
                            .notFound(pipe)
                            .info("Starting binary " + path + " --user-data-dir=\"" + dataFolder +
                                  "\" file://" + startPage(dataFolder) + "?pipe=" + pipe)
                            .error("Couldn't start browser binary " + path)
                            .error("kx_Init(): Couldn't start browser binary " + path + ", error (193)")
                            .text());
}

class StartPageOfInit : public InitArguments {
 protected:
  int init(const std::string& path, int timeout = 1) {
    return dll.kx_Init(context, "cr", withDataFolder.c_str(), path.c_str(), 0, 0, timeout);
  }

  // The page's name, without a folder.
  const std::string page = "\\" + std::filesystem::path(wide(startPage(dataFolder))).filename().string();
};

TEST_F(StartPageOfInit, IsTheEmptyPage) {
  init(kMissingProgram);

  EXPECT_EQ(fileBytes(startPage(dataFolder)), "<html><body></body></html>");
}

TEST_F(StartPageOfInit, ThatCannotBeWrittenFailsTheLaunch) {
  IdleBrowser browser;
  tempVariable.set("C:\\no_such_folder");
  const std::string message = "Could not open temp file C:\\no_such_folder" + page;

  EXPECT_EQ(init(browser.program()), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), message);
  EXPECT_FALSE(browser.wasLaunched());
  EXPECT_EQ(log.text(), HostLog()
                            .start("cr", withDataFolder, browser.program(), 0, 0, 1)
                            .error(message + ", error 3")
                            .notFound(profilePipe("cr", dataFolder))
                            .error("kx_Init(): " + message + ", error (-1)")
                            .text());
}

TEST_F(StartPageOfInit, ThatCannotBeWrittenDoesNotKeepFromAttaching) {
  tempVariable.set("C:\\no_such_folder");
  FakeExtension extension(profilePipe("cr", dataFolder));

  EXPECT_EQ(init(kMissingProgram, 30), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 1);
}

TEST_F(StartPageOfInit, IsWrittenNowhereWithoutAFolder) {
  tempVariable.remove();

  EXPECT_EQ(init(kMissingProgram), KX_FAILED);

  EXPECT_EQ(dll.lastErrorText(context), "Could not open temp file " + page);
  EXPECT_NE(log.text().find("Error: Could not open temp file " + page + ", error 203\n"), std::string::npos);
  EXPECT_FALSE(fileExists(page));
}

TEST_F(StartPageOfInit, MayLieInAFolderOutsideAscii) {
  const TempFolder folder("pages-\xC3\xBC-\xE6\x97\xA5");
  tempVariable.set(folder.path());

  init(kMissingProgram);

  EXPECT_EQ(fileBytes(folder.path() + page), "<html><body></body></html>");
}

}  // namespace
