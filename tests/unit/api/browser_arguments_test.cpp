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

std::string digestPipe(const std::string& browser, const std::string& digest) {
  return R"(\\.\pipe\kx-)" + browser + "-" + digest + ".runner";
}

// The folder in which start pages are written.
struct StartPageFolder : TestFolder {
  EnvironmentVariable temp{"TEMP", path()};

  std::string url(const std::string& digest, const std::string& pipe) const {
    return "file://" + file(digest + ".html") + "?pipe=" + pipe;
  }
  // The digest whose page has been written.
  std::string written() const {
    for (const char* digest : {kDigestOfDev, kDigestOfEmpty, kDigestOfData}) {
      if (fileBytes(file(std::string(digest) + ".html"))) {
        return digest;
      }
    }
    return "none";
  }
};

// ---- kx_Init ----

TEST(InitPipe, ThePipeOfAStartIsNamedAfterTheDigestOfTheBrowsersOwnOptionAndEmptyWithoutIt) {
  const struct {
    const char* browser;
    const char* options;
    std::string pipe;
  } cases[] = {
      {"fx", "-fxProfile dev", digestPipe("fx", kDigestOfDev)},
      {"fx", R"(-fxProfile dev\)", digestPipe("fx", kDigestOfDev)},
      {"fx", "-fxProfile", digestPipe("fx", kDigestOfEmpty)},
      {"cr", R"(-crUserDataDir C:\Users\me\Data)", digestPipe("cr", kDigestOfData)},
      {"cr", R"(-crUserDataDir "C:\Users\me\Data\")", digestPipe("cr", kDigestOfData)},
      {"cr", "-crUserDataDir", digestPipe("cr", kDigestOfEmpty)},
      {"fx", "", ""},
      {"cr", "", ""},
      {"fx", "-crUserDataDir dev", ""},
      {"cr", "-fxProfile dev", ""},
      {"fx", "-fxprofile dev", ""},
      {"FX", "-fxProfile dev -crUserDataDir dev", ""},
      {"CR", "-fxProfile dev -crUserDataDir dev", ""},
      {"fx ", "-fxProfile dev -crUserDataDir dev", ""},
      {"ie", "-fxProfile dev -crUserDataDir dev", ""},
      {"", "-fxProfile dev -crUserDataDir dev", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(initPipeName(c.browser, parseOptions(c.options)), c.pipe) << c.browser << " " << c.options;
  }
}

TEST(StartArguments, TheArgumentsOfAStartAreTheBrowsersSwitchForItsProfileAndTheStartPage) {
  struct Case {
    const char* browser;
    const char* options;
    Arguments switches;
    const char* page;
  };
  const Case cases[] = {
      {"fx", "-fxProfile dev", {"-no-remote", "-P \"dev\""}, kDigestOfDev},
      {"cr", R"(-crUserDataDir C:\Users\me\Data)", {R"(--user-data-dir="C:\Users\me\Data")"}, kDigestOfData},
      // A trailing backslash gives the same page, but the argument keeps it.
      {"fx", R"(-fxProfile dev\)", {"-no-remote", R"(-P "dev\")"}, kDigestOfDev},
      {"cr",
       R"(-crUserDataDir="C:\Users\me\Data\")",
       {R"(--user-data-dir="C:\Users\me\Data\")"},
       kDigestOfData},
      // A profile of nothing but a backslash is not empty.
      {"fx", R"(-fxProfile \)", {"-no-remote", R"(-P "\")"}, kDigestOfEmpty},
      {"cr", R"(-crUserDataDir \)", {R"(--user-data-dir="\")"}, kDigestOfEmpty},
      {"fx", "-fxProfile", {}, "none"},
      {"cr", "-crUserDataDir", {"--user-data-dir=\"\""}, "none"},
      {"fx", "-crUserDataDir dev", {}, "none"},
      {"cr", "-fxProfile dev", {}, "none"},
      {"FX", "-fxProfile dev -crUserDataDir dev -profiler -runner", {}, "none"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.options);
    const StartPageFolder folder;
    Arguments expected = c.switches;
    if (c.page != std::string("none")) {
      expected.push_back(folder.url(c.page, "PIPE"));
    }

    const StartArguments start = startArguments(c.browser, parseOptions(c.options), "PIPE");

    EXPECT_EQ(start.arguments, expected);
    EXPECT_EQ(start.unwritableStartPage, "");
    EXPECT_EQ(folder.written(), c.page);
  }
}

TEST(StartArguments, AStartPageThatCannotBeWrittenIsNamedAndLeftOut) {
  const LogCapture log;
  const TestFolder folder;
  const EnvironmentVariable temp("TEMP", folder.file("missing"));
  const std::string page = folder.file("missing") + "\\" + kDigestOfDev + ".html";

  const StartArguments start = startArguments("fx", parseOptions("-fxProfile dev"), "PIPE");

  EXPECT_EQ(start.arguments, (Arguments{"-no-remote", "-P \"dev\""}));
  EXPECT_EQ(start.unwritableStartPage, page);
  EXPECT_EQ(log.text(), error("Could not open temp file " + page + ", error 3"));
}

TEST(StartArguments, APageThatIsGivenIsNamedAndNotWritten) {
  const StartPageFolder folder;

  const StartArguments start = startArguments("fx", parseOptions("-fxProfile dev"), "PIPE", "C:\\page.html");

  EXPECT_EQ(start.arguments, (Arguments{"-no-remote", "-P \"dev\"", "file://C:\\page.html?pipe=PIPE"}));
  EXPECT_EQ(folder.written(), "none");
}

// ---- the runner family ----

TEST(Runner, ARunnerNeedsItsOptionAndTheBrowsersOwnAndMeetsTheBrowserOnItsPipe) {
  struct Case {
    const char* browser;
    const char* options;
    Problem problem;
    const char* profile = "";
    std::string pipe = "";
  };
  const Case cases[] = {
      {"fx", "-fxProfile dev", Problem::RunnerRequired},
      {"cr", "-crUserDataDir dev", Problem::RunnerRequired},
      {"ie", "", Problem::RunnerRequired},
      {"fx", "-runner", Problem::FirefoxProfileRequired},
      {"fx", "-runner -crUserDataDir dev", Problem::FirefoxProfileRequired},
      {"cr", "-runner", Problem::ChromeDataFolderRequired},
      {"cr", "-runner -fxProfile dev", Problem::ChromeDataFolderRequired},
      {"cr", "-runner -crUserDataDir", Problem::ChromeDataFolderRequired},
      {"cr", "-runner -crUserDataDir \"\"", Problem::ChromeDataFolderRequired},
      {"FX", "-runner -fxProfile dev -crUserDataDir dev", Problem::UnsupportedBrowser},
      {"Cr", "-runner -fxProfile dev -crUserDataDir dev", Problem::UnsupportedBrowser},
      {"ie", "-runner -fxProfile dev -crUserDataDir dev", Problem::UnsupportedBrowser},
      {"", "-runner -fxProfile dev -crUserDataDir dev", Problem::UnsupportedBrowser},
      // Firefox is met on the pipe named after the profile itself, Chrome after its digest.
      {"fx", "-runner=no -fxProfile dev", Problem::None, "dev", R"(\\.\pipe\dev.runner)"},
      {"fx", R"(-runner -fxProfile "my dev\")", Problem::None, R"(my dev\)", R"(\\.\pipe\my dev\.runner)"},
      {"fx", "-runner -fxProfile", Problem::None, "", R"(\\.\pipe\.runner)"},
      {"cr", R"(-runner -crUserDataDir "C:\Users\me\Data\")", Problem::None, R"(C:\Users\me\Data\)",
       digestPipe("cr", kDigestOfData)},
      {"cr", R"(-runner -crUserDataDir \)", Problem::None, "\\", digestPipe("cr", kDigestOfEmpty)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.browser) + " " + c.options);
    const RunnerBrowser runner = runnerBrowser(c.browser, parseOptions(c.options));
    EXPECT_EQ(runner.problem, c.problem);
    EXPECT_EQ(runner.profile, c.profile);
    EXPECT_EQ(runner.pipeName, c.pipe);
  }
}

std::string lineFor(const char* browser, const char* options, bool useProfiler = false,
                    const char* hostPage = nullptr) {
  return runnerCommandLine(browser, runnerBrowser(browser, parseOptions(options)), useProfiler, hostPage);
}

TEST(RunnerCommandLine, TheLineOfFirefoxNamesProfileAndPipeEndsWithTheProfilerAndNeedsNoPage) {
  const StartPageFolder folder;

  EXPECT_EQ(lineFor("fx", "-runner -fxProfile default"),
            R"(-no-remote -P "default" -kx-pipe "\\.\pipe\default.runner")");
  EXPECT_EQ(lineFor("fx", R"(-runner -fxProfile dev\)"),
            R"(-no-remote -P "dev\" -kx-pipe "\\.\pipe\dev\.runner")");
  EXPECT_EQ(lineFor("fx", "-runner -fxProfile dev", true, "C:\\ignored.html"),
            R"(-no-remote -P "dev" -kx-pipe "\\.\pipe\dev.runner" -kx-profiler)");
  EXPECT_EQ(folder.written(), "none");
}

TEST(RunnerCommandLine, TheLineOfChromeNamesDataFolderAndPageWhateverTheProfiler) {
  for (const bool useProfiler : {false, true}) {
    const StartPageFolder folder;
    EXPECT_EQ(lineFor("cr", R"(-runner -crUserDataDir "C:\Users\me\Data\")", useProfiler),
              R"(--user-data-dir="C:\Users\me\Data\" )" +
                  folder.url(kDigestOfData, digestPipe("cr", kDigestOfData)));
    EXPECT_EQ(folder.written(), kDigestOfData);
  }
}

TEST(RunnerCommandLine, TheLineOfChromeHasAPageOfTheHost) {
  const StartPageFolder folder;

  EXPECT_EQ(lineFor("cr", "-runner -crUserDataDir dev", false, "C:\\my page.html"),
            "--user-data-dir=\"dev\" file://C:\\my page.html?pipe=" + digestPipe("cr", kDigestOfDev));
  EXPECT_EQ(folder.written(), "none");
}

TEST(RunnerCommandLine, TheLineOfChromeIsEmptyWhenThePageCannotBeWritten) {
  const LogCapture log;
  const EnvironmentVariable temp("TEMP", std::nullopt);

  EXPECT_EQ(lineFor("cr", "-runner -crUserDataDir dev"), "");
  EXPECT_EQ(log.text(),
            error("Could not open temp file \\" + std::string(kDigestOfDev) + ".html, error 203"));
}

}  // namespace

}  // namespace kx
