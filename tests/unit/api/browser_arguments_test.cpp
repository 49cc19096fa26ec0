#include "api/browser_arguments.h"

#include "support/environment.h"
#include "support/files.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

using Problem = RunnerBrowser::Problem;
using Arguments = std::vector<std::string>;

constexpr char kDigestOfDev[] = "e77989ed21758e78331b20e477fc5582";
constexpr char kDigestOfEmpty[] = "d41d8cd98f00b204e9800998ecf8427e";
constexpr char kDigestOfData[] = "82aebf38bf0edf1d5ddb4b71f2afe642";  // C:\Users\me\Data

constexpr char kDevRunnerPipe[] = R"(\\.\pipe\dev.runner)";

std::string digestPipe(const std::string& browser, const std::string& digest) {
  return R"(\\.\pipe\kx-)" + browser + "-" + digest + ".runner";
}

// The folder in which start pages are written.
struct StartPageFolder : TestFolder {
  ScopedVariable temp{"TEMP", path()};

  std::string url(const std::string& digest, const std::string& pipe) const {
    return "file://" + file(digest + ".html") + "?pipe=" + pipe;
  }
  bool holds(const std::string& digest) const { return fileBytes(file(digest + ".html")).has_value(); }
};

// ---- kx_Init ----

TEST(InitPipe, IsNamedAfterTheDigestForBothBrowsers) {
  EXPECT_EQ(initPipeName("fx", parseOptions("-fxProfile dev")), digestPipe("fx", kDigestOfDev));
  EXPECT_EQ(initPipeName("cr", parseOptions(R"(-crUserDataDir C:\Users\me\Data)")),
            digestPipe("cr", kDigestOfData));
}

TEST(InitPipe, ATrailingBackslashDoesNotMatter) {
  EXPECT_EQ(initPipeName("fx", parseOptions(R"(-fxProfile dev\)")), digestPipe("fx", kDigestOfDev));
  EXPECT_EQ(initPipeName("cr", parseOptions(R"(-crUserDataDir "C:\Users\me\Data\")")),
            digestPipe("cr", kDigestOfData));
}

TEST(InitPipe, AnEmptyProfileHasADigestToo) {
  EXPECT_EQ(initPipeName("fx", parseOptions("-fxProfile")), digestPipe("fx", kDigestOfEmpty));
  EXPECT_EQ(initPipeName("cr", parseOptions("-crUserDataDir")), digestPipe("cr", kDigestOfEmpty));
}

TEST(InitPipe, IsEmptyWithoutTheBrowsersOwnOption) {
  EXPECT_EQ(initPipeName("fx", {}), "");
  EXPECT_EQ(initPipeName("cr", {}), "");
  EXPECT_EQ(initPipeName("fx", parseOptions("-crUserDataDir dev")), "");
  EXPECT_EQ(initPipeName("cr", parseOptions("-fxProfile dev")), "");
  EXPECT_EQ(initPipeName("fx", parseOptions("-fxprofile dev")), "");
}

TEST(InitPipe, IsEmptyForAnyOtherBrowser) {
  const Options options = parseOptions("-fxProfile dev -crUserDataDir dev");
  for (const char* browser : {"FX", "CR", "", "fx ", "ie"}) {
    EXPECT_EQ(initPipeName(browser, options), "") << browser;
  }
}

TEST(StartArguments, OfFirefoxAreTheProfileSwitchesAndThePage) {
  const StartPageFolder folder;

  const StartArguments start = startArguments("fx", parseOptions("-fxProfile dev"), "PIPE");

  EXPECT_EQ(start.arguments, (Arguments{"-no-remote", "-P \"dev\"", folder.url(kDigestOfDev, "PIPE")}));
  EXPECT_EQ(start.unwritableStartPage, "");
  EXPECT_TRUE(folder.holds(kDigestOfDev));
}

TEST(StartArguments, OfChromeAreTheDataFolderAndThePage) {
  const StartPageFolder folder;

  const StartArguments start =
      startArguments("cr", parseOptions(R"(-crUserDataDir C:\Users\me\Data)"), "PIPE");

  EXPECT_EQ(start.arguments,
            (Arguments{R"(--user-data-dir="C:\Users\me\Data")", folder.url(kDigestOfData, "PIPE")}));
  EXPECT_TRUE(folder.holds(kDigestOfData));
}

TEST(StartArguments, ATrailingBackslashGivesTheSamePageButKeepsTheArgument) {
  const StartPageFolder folder;

  const StartArguments firefox = startArguments("fx", parseOptions(R"(-fxProfile dev\)"), "PIPE");
  const StartArguments chrome =
      startArguments("cr", parseOptions(R"(-crUserDataDir="C:\Users\me\Data\")"), "PIPE");

  EXPECT_EQ(firefox.arguments, (Arguments{"-no-remote", R"(-P "dev\")", folder.url(kDigestOfDev, "PIPE")}));
  EXPECT_EQ(chrome.arguments,
            (Arguments{R"(--user-data-dir="C:\Users\me\Data\")", folder.url(kDigestOfData, "PIPE")}));
}

TEST(StartArguments, AnEmptyFirefoxProfileGivesNone) {
  const StartPageFolder folder;

  const StartArguments start = startArguments("fx", parseOptions("-fxProfile"), "PIPE");

  EXPECT_EQ(start.arguments, Arguments());
  EXPECT_EQ(start.unwritableStartPage, "");
  EXPECT_FALSE(folder.holds(kDigestOfEmpty));
}

TEST(StartArguments, AnEmptyDataFolderIsPassedOnWithoutAPage) {
  const StartPageFolder folder;

  const StartArguments start = startArguments("cr", parseOptions("-crUserDataDir"), "PIPE");

  EXPECT_EQ(start.arguments, (Arguments{"--user-data-dir=\"\""}));
  EXPECT_FALSE(folder.holds(kDigestOfEmpty));
}

TEST(StartArguments, AProfileOfNothingButABackslashIsNotEmpty) {
  const StartPageFolder folder;

  EXPECT_EQ(startArguments("fx", parseOptions(R"(-fxProfile \)"), "PIPE").arguments,
            (Arguments{"-no-remote", R"(-P "\")", folder.url(kDigestOfEmpty, "PIPE")}));
  EXPECT_EQ(startArguments("cr", parseOptions(R"(-crUserDataDir \)"), "PIPE").arguments,
            (Arguments{R"(--user-data-dir="\")", folder.url(kDigestOfEmpty, "PIPE")}));
  EXPECT_EQ(runnerBrowser("cr", parseOptions(R"(-runner -crUserDataDir \)")).problem, Problem::None);
}

TEST(StartArguments, WithoutAProfileOrForAnyOtherBrowserThereAreNone) {
  const StartPageFolder folder;
  const Options both = parseOptions("-fxProfile dev -crUserDataDir dev -profiler -runner");

  EXPECT_EQ(startArguments("fx", parseOptions("-crUserDataDir dev"), "PIPE").arguments, Arguments());
  EXPECT_EQ(startArguments("cr", parseOptions("-fxProfile dev"), "PIPE").arguments, Arguments());
  EXPECT_EQ(startArguments("FX", both, "PIPE").arguments, Arguments());
  EXPECT_FALSE(folder.holds(kDigestOfDev));
}

TEST(StartArguments, APageThatCannotBeWrittenIsNamedAndLeftOut) {
  const LogCapture log;
  const TestFolder folder;
  const ScopedVariable temp("TEMP", folder.file("missing"));
  const std::string page = folder.file("missing") + "\\" + kDigestOfDev + ".html";

  const StartArguments start = startArguments("fx", parseOptions("-fxProfile dev"), "PIPE");

  EXPECT_EQ(start.arguments, (Arguments{"-no-remote", "-P \"dev\""}));
  EXPECT_EQ(start.unwritableStartPage, page);
  EXPECT_EQ(log.text(), error("Could not open temp file " + page + ", error 3"));
}

// ---- the runner family ----

void expectProblem(const std::string& browser, const char* options, Problem problem) {
  const RunnerBrowser runner = runnerBrowser(browser, parseOptions(options));
  EXPECT_EQ(runner.problem, problem) << browser << " " << options;
  EXPECT_EQ(runner.profile, "");
  EXPECT_EQ(runner.pipeName, "");
}

TEST(Runner, NeedsItsOptionBeforeAnythingElse) {
  expectProblem("fx", "-fxProfile dev", Problem::RunnerRequired);
  expectProblem("cr", "-crUserDataDir dev", Problem::RunnerRequired);
  expectProblem("ie", "", Problem::RunnerRequired);
}

TEST(Runner, FirefoxNeedsAProfile) {
  expectProblem("fx", "-runner", Problem::FirefoxProfileRequired);
  expectProblem("fx", "-runner -crUserDataDir dev", Problem::FirefoxProfileRequired);
}

TEST(Runner, ChromeNeedsADataFolderThatIsNotEmpty) {
  expectProblem("cr", "-runner", Problem::ChromeDataFolderRequired);
  expectProblem("cr", "-runner -fxProfile dev", Problem::ChromeDataFolderRequired);
  expectProblem("cr", "-runner -crUserDataDir", Problem::ChromeDataFolderRequired);
  expectProblem("cr", "-runner -crUserDataDir \"\"", Problem::ChromeDataFolderRequired);
}

TEST(Runner, AnyOtherBrowserIsNotSupported) {
  for (const char* browser : {"FX", "Cr", "", "ie"}) {
    expectProblem(browser, "-runner -fxProfile dev -crUserDataDir dev", Problem::UnsupportedBrowser);
  }
}

TEST(Runner, FirefoxIsMetOnThePipeNamedAfterTheProfileItself) {
  const RunnerBrowser runner = runnerBrowser("fx", parseOptions("-runner=no -fxProfile dev"));

  EXPECT_EQ(runner.problem, Problem::None);
  EXPECT_EQ(runner.profile, "dev");
  EXPECT_EQ(runner.pipeName, kDevRunnerPipe);
}

TEST(Runner, FirefoxKeepsBlanksAndATrailingBackslashOfTheProfileInBothNames) {
  const RunnerBrowser runner = runnerBrowser("fx", parseOptions(R"(-runner -fxProfile "my dev\")"));

  EXPECT_EQ(runner.profile, R"(my dev\)");
  EXPECT_EQ(runner.pipeName, R"(\\.\pipe\my dev\.runner)");
}

TEST(Runner, AnEmptyFirefoxProfileIsAccepted) {
  const RunnerBrowser runner = runnerBrowser("fx", parseOptions("-runner -fxProfile"));

  EXPECT_EQ(runner.problem, Problem::None);
  EXPECT_EQ(runner.profile, "");
  EXPECT_EQ(runner.pipeName, R"(\\.\pipe\.runner)");
}

TEST(Runner, ChromeIsMetOnThePipeNamedAfterTheDigest) {
  const RunnerBrowser runner =
      runnerBrowser("cr", parseOptions(R"(-runner -crUserDataDir "C:\Users\me\Data\")"));

  EXPECT_EQ(runner.problem, Problem::None);
  EXPECT_EQ(runner.profile, R"(C:\Users\me\Data\)");
  EXPECT_EQ(runner.pipeName, digestPipe("cr", kDigestOfData));
}

TEST(RunnerCommandLine, OfFirefoxNamesProfileAndPipe) {
  const RunnerBrowser runner = runnerBrowser("fx", parseOptions("-runner -fxProfile default"));

  EXPECT_EQ(runnerCommandLine("fx", runner, false, nullptr),
            R"(-no-remote -P "default" -kx-pipe "\\.\pipe\default.runner")");
}

TEST(RunnerCommandLine, OfFirefoxKeepsATrailingBackslashOfTheProfile) {
  const RunnerBrowser runner = runnerBrowser("fx", parseOptions(R"(-runner -fxProfile dev\)"));

  EXPECT_EQ(runnerCommandLine("fx", runner, false, nullptr),
            R"(-no-remote -P "dev\" -kx-pipe "\\.\pipe\dev\.runner")");
}

TEST(RunnerCommandLine, OfFirefoxEndsWithTheProfilerSwitch) {
  const RunnerBrowser runner = runnerBrowser("fx", parseOptions("-runner -fxProfile default"));

  EXPECT_EQ(runnerCommandLine("fx", runner, true, "C:\\ignored.html"),
            R"(-no-remote -P "default" -kx-pipe "\\.\pipe\default.runner" -kx-profiler)");
}

TEST(RunnerCommandLine, OfFirefoxWritesNoPage) {
  const StartPageFolder folder;

  runnerCommandLine("fx", runnerBrowser("fx", parseOptions("-runner -fxProfile dev")), false, nullptr);

  EXPECT_FALSE(folder.holds(kDigestOfDev));
}

TEST(RunnerCommandLine, OfChromeNamesDataFolderAndPage) {
  const StartPageFolder folder;
  const RunnerBrowser runner =
      runnerBrowser("cr", parseOptions(R"(-runner -crUserDataDir "C:\Users\me\Data\")"));

  EXPECT_EQ(
      runnerCommandLine("cr", runner, false, nullptr),
      R"(--user-data-dir="C:\Users\me\Data\" )" + folder.url(kDigestOfData, digestPipe("cr", kDigestOfData)));
  EXPECT_TRUE(folder.holds(kDigestOfData));
}

TEST(RunnerCommandLine, OfChromeIgnoresTheProfiler) {
  const StartPageFolder folder;
  const RunnerBrowser runner = runnerBrowser("cr", parseOptions("-runner -crUserDataDir dev"));

  EXPECT_EQ(runnerCommandLine("cr", runner, true, nullptr), runnerCommandLine("cr", runner, false, nullptr));
}

TEST(RunnerCommandLine, OfChromeTakesAPageOfTheHost) {
  const StartPageFolder folder;
  const RunnerBrowser runner = runnerBrowser("cr", parseOptions("-runner -crUserDataDir dev"));

  EXPECT_EQ(runnerCommandLine("cr", runner, false, "C:\\my page.html"),
            "--user-data-dir=\"dev\" file://C:\\my page.html?pipe=" + digestPipe("cr", kDigestOfDev));
  EXPECT_FALSE(folder.holds(kDigestOfDev));
}

TEST(RunnerCommandLine, OfChromeIsEmptyWhenThePageCannotBeWritten) {
  const LogCapture log;
  const ScopedVariable temp("TEMP", std::nullopt);
  const RunnerBrowser runner = runnerBrowser("cr", parseOptions("-runner -crUserDataDir dev"));

  EXPECT_EQ(runnerCommandLine("cr", runner, false, nullptr), "");
  EXPECT_EQ(log.text(),
            error(std::string("Could not open temp file \\") + kDigestOfDev + ".html, error 203"));
}

}  // namespace

}  // namespace kx
