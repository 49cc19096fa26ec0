// What kx_Init makes of its arguments: the start entry, the port, the browser's name, and the pipe that
// follows from the profile.
#include "host/host_test.h"
#include "host/partner.h"

#include <climits>
#include <ostream>
#include <string>

namespace {

constexpr char kMissing[] = "C:\\windows\\no_such_browser.exe";
constexpr char kMissingText[] = "Browser binary C:\\windows\\no_such_browser.exe doesn't exists";

class InitArguments : public HostTest {
 protected:
  void SetUp() override { context = dll.kx_ContextCreate(); }

  // The log of a start that found neither an extension on this pipe nor a browser to launch.
  HostLog& nobodyThere(HostLog& expected, const std::string& pipe, bool looksForProfiles) const {
    expected.notFound(pipe);
    if (looksForProfiles) {
      expected.noProfiles();
    }
    expected.error(std::string("Browser binary ") + kMissing + " doesn't exist");
    return expected.error(std::string("kx_Init(): ") + kMissingText + ", error (2)");
  }

  bool hasStartPage(const std::string& digest) const { return fileExists(startPage(digest)); }

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
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 1), 2);

  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 1, 0, 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -2);
  EXPECT_EQ(dll.lastErrorText(context), kMissingText);
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
  dll.kx_Init(context, "cr", "-crUserDataDir C:\\dir", nullptr, 1, 0, 1);

  EXPECT_FALSE(hasStartPage("65de3bfe52ce59fb9afeebfbb9260784"));
}

TEST_F(InitArguments, WithoutAProfileLeadFirefoxToItsDefaultPipe) {
  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 1), 2);

  HostLog expected;
  expected.start("fx", "(null)", kMissing, 0, 0, 1).noProfiles();
  EXPECT_EQ(log.text(), nobodyThere(expected, defaultPipe("fx"), true).text());
}

TEST_F(InitArguments, WithoutAProfileLeadChromeToItsDefaultPipe) {
  EXPECT_EQ(dll.kx_Init(context, "cr", "", kMissing, 0, 1, 1), 2);

  HostLog expected;
  expected.start("cr", "", kMissing, 0, 1, 1);
  EXPECT_EQ(log.text(), nobodyThere(expected, defaultPipe("cr"), false).text());
}

TEST_F(InitArguments, WithAProfileLeadFirefoxToThePipeOfItsDigest) {
  EXPECT_EQ(dll.kx_Init(context, "fx", "-fxProfile work", kMissing, 0, 0, 1), 2);

  HostLog expected;
  expected.start("fx", "-fxProfile work", kMissing, 0, 0, 1);
  EXPECT_EQ(log.text(),
            nobodyThere(expected, "\\\\.\\pipe\\kx-fx-67e92c8765a9bc7fb2d335c459de9eb5.runner", true).text());
  EXPECT_TRUE(hasStartPage("67e92c8765a9bc7fb2d335c459de9eb5"));
}

TEST_F(InitArguments, WithAnEmptyProfileLeadFirefoxToThePipeOfTheEmptyTextWithoutAStartPage) {
  EXPECT_EQ(dll.kx_Init(context, "fx", "-fxProfile=\"\"", kMissing, 0, 0, 1), 2);

  HostLog expected;
  expected.start("fx", "-fxProfile=\"\"", kMissing, 0, 0, 1);
  EXPECT_EQ(log.text(),
            nobodyThere(expected, "\\\\.\\pipe\\kx-fx-d41d8cd98f00b204e9800998ecf8427e.runner", true).text());
  EXPECT_FALSE(hasStartPage("d41d8cd98f00b204e9800998ecf8427e"));
}

TEST_F(InitArguments, WithADataFolderLeadChromeToThePipeOfItsDigest) {
  EXPECT_EQ(dll.kx_Init(context, "cr", "-crUserDataDir=C:\\dir", kMissing, 0, 0, 1), 2);

  HostLog expected;
  expected.start("cr", "-crUserDataDir=C:\\dir", kMissing, 0, 0, 1);
  EXPECT_EQ(
      log.text(),
      nobodyThere(expected, "\\\\.\\pipe\\kx-cr-65de3bfe52ce59fb9afeebfbb9260784.runner", false).text());
  EXPECT_TRUE(hasStartPage("65de3bfe52ce59fb9afeebfbb9260784"));
}

TEST_F(InitArguments, LeadAFolderWithATrailingBackslashToTheSamePipe) {
  EXPECT_EQ(dll.kx_Init(context, "cr", "-crUserDataDir=C:\\dir\\", kMissing, 0, 0, 1), 2);

  EXPECT_NE(log.text().find("using pipe \\\\.\\pipe\\kx-cr-65de3bfe52ce59fb9afeebfbb9260784.runner\n"),
            std::string::npos);
}

TEST_F(InitArguments, WithTheOtherBrowsersOptionLeadToTheDefaultPipe) {
  dll.kx_Init(context, "fx", "-crUserDataDir C:\\dir", kMissing, 0, 0, 1);
  EXPECT_NE(log.text().find("using pipe " + defaultPipe("fx") + "\n"), std::string::npos);

  log.clear();
  dll.kx_Init(context, "cr", "-fxProfile work", kMissing, 0, 0, 1);
  EXPECT_NE(log.text().find("using pipe " + defaultPipe("cr") + "\n"), std::string::npos);
}

TEST_F(InitArguments, NameOptionsInTheirExactLetters) {
  dll.kx_Init(context, "fx", "-fxprofile work", kMissing, 0, 0, 1);

  EXPECT_NE(log.text().find("using pipe " + defaultPipe("fx") + "\n"), std::string::npos);
}

TEST_F(InitArguments, TakeTheLastOfAnOptionThatIsGivenTwice) {
  dll.kx_Init(context, "cr", "-crUserDataDir C:\\other -crUserDataDir \"C:\\dir\"", kMissing, 0, 0, 1);

  EXPECT_NE(log.text().find("kx-cr-65de3bfe52ce59fb9afeebfbb9260784.runner\n"), std::string::npos);
}

TEST_F(InitArguments, WithABrowserInOtherLettersHaveNeitherPipeNorProfile) {
  EXPECT_EQ(dll.kx_Init(context, "FX", "-fxProfile work", kMissing, 0, 0, 1), 2);

  EXPECT_EQ(log.text(), HostLog()
                            .start("FX", "-fxProfile work", kMissing, 0, 0, 1)
                            .info("Client: connecting to server using pipe ")
                            .info("Could not open pipe , error = 3")
                            .error(std::string("Browser binary ") + kMissing + " doesn't exist")
                            .error(std::string("kx_Init(): ") + kMissingText + ", error (2)")
                            .text());
  EXPECT_FALSE(hasStartPage("67e92c8765a9bc7fb2d335c459de9eb5"));
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

INSTANTIATE_TEST_SUITE_P(Path, UnfindableProgram,
                         ::testing::Values(NoProgram{"ThatIsEmpty", "", 3},
                                           NoProgram{"InAFolderThatIsNone", "C:\\no_such_folder\\browser.exe",
                                                     3}),
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

  EXPECT_EQ(dll.kx_Init(context, "cr", "-crUserDataDir=C:\\dir", path.c_str(), 0, 0, 1),
            ERROR_BAD_EXE_FORMAT);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -ERROR_BAD_EXE_FORMAT);
  EXPECT_EQ(dll.lastErrorText(context), "Couldn't start browser binary " + path);
  const std::string pipe = "\\\\.\\pipe\\kx-cr-65de3bfe52ce59fb9afeebfbb9260784.runner";
  EXPECT_EQ(log.text(), HostLog()
                            .start("cr", "-crUserDataDir=C:\\dir", path, 0, 0, 1)
                            .notFound(pipe)
                            .info("Starting binary " + path + " --user-data-dir=\"C:\\dir\" file://" +
                                  startPage("65de3bfe52ce59fb9afeebfbb9260784") + "?pipe=" + pipe)
                            .error("Couldn't start browser binary " + path)
                            .error("kx_Init(): Couldn't start browser binary " + path + ", error (193)")
                            .text());
}

class StartPageOfInit : public InitArguments {
 protected:
  static constexpr char kPipe[] = "\\\\.\\pipe\\kx-cr-65de3bfe52ce59fb9afeebfbb9260784.runner";
  static constexpr char kOptions[] = "-crUserDataDir=C:\\dir";
  static constexpr char kPage[] = "65de3bfe52ce59fb9afeebfbb9260784.html";
};

TEST_F(StartPageOfInit, IsTheEmptyPage) {
  dll.kx_Init(context, "cr", kOptions, kMissing, 0, 0, 1);

  EXPECT_EQ(fileBytes(temp.path(kPage)), "<html><body></body></html>");
}

TEST_F(StartPageOfInit, ThatCannotBeWrittenFailsTheLaunch) {
  IdleBrowser browser;
  tempVariable.set("C:\\no_such_folder");
  const std::string message =
      "Could not open temp file C:\\no_such_folder\\65de3bfe52ce59fb9afeebfbb9260784.html";

  EXPECT_EQ(dll.kx_Init(context, "cr", kOptions, browser.program().c_str(), 0, 0, 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), message);
  EXPECT_FALSE(browser.wasLaunched());
  EXPECT_EQ(log.text(), HostLog()
                            .start("cr", kOptions, browser.program(), 0, 0, 1)
                            .error(message + ", error 3")
                            .notFound(kPipe)
                            .error("kx_Init(): " + message + ", error (-1)")
                            .text());
}

TEST_F(StartPageOfInit, ThatCannotBeWrittenDoesNotKeepFromAttaching) {
  tempVariable.set("C:\\no_such_folder");
  FakeExtension extension(kPipe);

  EXPECT_EQ(dll.kx_Init(context, "cr", kOptions, kMissing, 0, 0, 30), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 1);
}

TEST_F(StartPageOfInit, IsWrittenNowhereWithoutAFolder) {
  tempVariable.remove();

  EXPECT_EQ(dll.kx_Init(context, "cr", kOptions, kMissing, 0, 0, 1), KX_FAILED);

  EXPECT_EQ(dll.lastErrorText(context), std::string("Could not open temp file \\") + kPage);
  EXPECT_NE(log.text().find(std::string("Error: Could not open temp file \\") + kPage + ", error 203\n"),
            std::string::npos);
  EXPECT_FALSE(fileExists(std::string("\\") + kPage));
}

TEST_F(StartPageOfInit, MayLieInAFolderOutsideAscii) {
  const TempFolder folder("pages-\xC3\xBC-\xE6\x97\xA5");
  tempVariable.set(folder.path());

  dll.kx_Init(context, "cr", kOptions, kMissing, 0, 0, 1);

  EXPECT_EQ(fileBytes(folder.path(kPage)), "<html><body></body></html>");
}

}  // namespace
