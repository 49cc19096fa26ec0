// kxr_GetCommandLine: the arguments with which a host starts a browser itself.
#include "host/guarded_buffer.h"
#include "host/host_test.h"

#include <climits>
#include <ostream>
#include <string>

namespace {

constexpr char kFirefoxOptions[] = "-runner -fxProfile=default";
constexpr char kFirefoxLine[] = "-no-remote -P \"default\" -kx-pipe \"\\\\.\\pipe\\default.runner\"";
constexpr char kChromeOptions[] = "-runner -crUserDataDir=C:\\dir";
constexpr char kChromeDigest[] = "65de3bfe52ce59fb9afeebfbb9260784";
constexpr char kChromePipe[] = "\\\\.\\pipe\\kx-cr-65de3bfe52ce59fb9afeebfbb9260784.runner";

class CommandLine : public HostTest {
 protected:
  // The line, or "(failed)". The size asked for and the text must agree.
  std::string line(const char* browser, const char* options, const char* page = nullptr) {
    const int size = dll.kxr_GetCommandLine(browser, options, nullptr, 0, page);
    if (size < 0) {
      EXPECT_EQ(size, KX_FAILED);
      return "(failed)";
    }
    std::string text(static_cast<std::size_t>(size), '?');
    EXPECT_EQ(dll.kxr_GetCommandLine(browser, options, text.data(), size, page), KX_OK);
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
  }

  // The digests here are written down: no test connects to the pipes that these lines name.
  std::string pageOf(const std::string& digest) const { return temp.path(digest + ".html"); }

  std::string chromeLine(const std::string& folder, const std::string& digest) const {
    return "--user-data-dir=\"" + folder + "\" file://" + pageOf(digest) + "?pipe=\\\\.\\pipe\\kx-cr-" +
           digest + ".runner";
  }
};

TEST_F(CommandLine, OfFirefoxNamesProfileAndPipe) {
  EXPECT_EQ(line("fx", kFirefoxOptions), kFirefoxLine);
  EXPECT_FALSE(fileExists(log.path()));
}

TEST_F(CommandLine, OfFirefoxHasAProfilerSwitchLast) {
  EXPECT_EQ(line("fx", "-profiler -runner -fxProfile default"), std::string(kFirefoxLine) + " -kx-profiler");
  EXPECT_EQ(line("fx", "-runner -fxProfile default -profiler=off"),
            std::string(kFirefoxLine) + " -kx-profiler");
}

TEST_F(CommandLine, OfFirefoxTakesAnEmptyProfile) {
  EXPECT_EQ(line("fx", "-runner -fxProfile"), "-no-remote -P \"\" -kx-pipe \"\\\\.\\pipe\\.runner\"");
}

TEST_F(CommandLine, OfFirefoxTakesAProfileWithBlanksAndLetters) {
  EXPECT_EQ(line("fx", "-fxProfile \"my \xC3\xBC profile\" -runner"),
            "-no-remote -P \"my \xC3\xBC profile\" -kx-pipe \"\\\\.\\pipe\\my \xC3\xBC profile.runner\"");
}

TEST_F(CommandLine, OfFirefoxNeedsNoPage) {
  line("fx", kFirefoxOptions, "C:\\start.html");

  EXPECT_EQ(line("fx", kFirefoxOptions, "C:\\start.html"), kFirefoxLine);
  EXPECT_FALSE(fileExists(pageOf("c21f969b5f03d33d43e04f8f136e7682")));
}

TEST_F(CommandLine, OfChromeNamesFolderAndPage) {
  EXPECT_EQ(line("cr", kChromeOptions), chromeLine("C:\\dir", kChromeDigest));
  EXPECT_FALSE(fileExists(log.path()));
}

TEST_F(CommandLine, OfChromeNamesTheFolderAsGivenAndThePipeWithoutItsLastBackslash) {
  EXPECT_EQ(line("cr", "-runner -crUserDataDir=C:\\Users\\me\\Data\\"),
            chromeLine("C:\\Users\\me\\Data\\", "82aebf38bf0edf1d5ddb4b71f2afe642"));
  EXPECT_EQ(line("cr", "-runner -crUserDataDir=C:\\Users\\me\\Data"),
            chromeLine("C:\\Users\\me\\Data", "82aebf38bf0edf1d5ddb4b71f2afe642"));
}

TEST_F(CommandLine, OfChromeTakesOneBackslashOffAndNoMore) {
  EXPECT_EQ(line("cr", "-runner -crUserDataDir=C:\\dir\\\\"),
            chromeLine("C:\\dir\\\\", "e18d9ee4baf8fed0cd0c6af7f52688c2"));
}

TEST_F(CommandLine, OfChromeTakesAFolderWithBlanks) {
  EXPECT_EQ(line("cr", "-runner -crUserDataDir \"C:\\my data\""),
            chromeLine("C:\\my data", "ada7c70810ee6f2a6abaaf5dbc770dd7"));
}

TEST_F(CommandLine, OfChromeTakesAFolderOutsideAscii) {
  EXPECT_EQ(line("cr",
                 "-runner -crUserDataDir=\"C:\\Gr\xC3\xBC\xC3\x9F"
                 "e \xE6\x97\xA5\""),
            chromeLine("C:\\Gr\xC3\xBC\xC3\x9F"
                       "e \xE6\x97\xA5",
                       "81b430e5720ff87c6a1950f4f2a93dbd"));
}

TEST_F(CommandLine, OfChromeDoesNotLookAtTheProfiler) {
  EXPECT_EQ(line("cr", "-runner -profiler -crUserDataDir=C:\\dir"), chromeLine("C:\\dir", kChromeDigest));
}

TEST_F(CommandLine, OfChromeWritesTheEmptyPage) {
  line("cr", kChromeOptions);

  EXPECT_EQ(fileBytes(pageOf(kChromeDigest)), "<html><body></body></html>");
}

TEST_F(CommandLine, OfChromeWritesThePageAlsoWhenOnlyTheSizeIsAsked) {
  EXPECT_GT(dll.kxr_GetCommandLine("cr", kChromeOptions, nullptr, 0, nullptr), 0);

  EXPECT_EQ(fileBytes(pageOf(kChromeDigest)), "<html><body></body></html>");
}

TEST_F(CommandLine, OfChromeReplacesThePageThatIsThere) {
  temp.write(std::string(kChromeDigest) + ".html", "something longer than the page that is to come");

  line("cr", kChromeOptions, "");

  EXPECT_EQ(fileBytes(pageOf(kChromeDigest)), "<html><body></body></html>");
}

TEST_F(CommandLine, OfChromeNamesTheHostsOwnPageAndWritesNone) {
  EXPECT_EQ(line("cr", kChromeOptions, "C:\\my start.html"),
            std::string("--user-data-dir=\"C:\\dir\" file://C:\\my start.html?pipe=") + kChromePipe);
  EXPECT_FALSE(fileExists(pageOf(kChromeDigest)));
}

TEST_F(CommandLine, OfChromeTakesAnEmptyPageForNone) {
  EXPECT_EQ(line("cr", kChromeOptions, ""), chromeLine("C:\\dir", kChromeDigest));
}

TEST_F(CommandLine, OfChromeFailsWhenThePageCannotBeWritten) {
  tempVariable.set("C:\\no_such_folder");
  GuardedBuffer buffer(1000);

  EXPECT_EQ(dll.kxr_GetCommandLine("cr", kChromeOptions, buffer.get(), 1000, nullptr), KX_FAILED);

  EXPECT_TRUE(buffer.isUntouched());
  EXPECT_EQ(log.text(), HostLog()
                            .error("Could not open temp file "
                                   "C:\\no_such_folder\\65de3bfe52ce59fb9afeebfbb9260784.html, error 3")
                            .text());
}

TEST_F(CommandLine, OfChromeFailsWithoutAFolderForPages) {
  tempVariable.remove();

  EXPECT_EQ(line("cr", kChromeOptions), "(failed)");

  EXPECT_EQ(
      log.text(),
      HostLog().error("Could not open temp file \\65de3bfe52ce59fb9afeebfbb9260784.html, error 203").text());
}

TEST_F(CommandLine, WithThePageOfTheHostNeedsNoFolderForPages) {
  tempVariable.remove();

  EXPECT_NE(line("cr", kChromeOptions, "C:\\start.html"), "(failed)");
}

// What is refused, and in which words.
struct Refusal {
  std::string name;
  const char* browser;
  const char* options;
  std::string message;
};

void PrintTo(const Refusal& refusal, std::ostream* stream) {
  *stream << refusal.name;
}

class RefusedCommandLine : public CommandLine, public ::testing::WithParamInterface<Refusal> {};

TEST_P(RefusedCommandLine, LeavesOneEntryAndTheBufferUntouched) {
  GuardedBuffer buffer(1000);

  EXPECT_EQ(dll.kxr_GetCommandLine(GetParam().browser, GetParam().options, buffer.get(), 1000, nullptr),
            KX_FAILED);

  EXPECT_TRUE(buffer.isUntouched());
  EXPECT_EQ(log.text(), HostLog().error(GetParam().message).text());
}

TEST_P(RefusedCommandLine, HasNoSize) {
  EXPECT_EQ(dll.kxr_GetCommandLine(GetParam().browser, GetParam().options, nullptr, 0, "C:\\page.html"),
            KX_FAILED);

  EXPECT_EQ(log.text(), HostLog().error(GetParam().message).text());
}

INSTANTIATE_TEST_SUITE_P(
    With, RefusedCommandLine,
    ::testing::Values(
        Refusal{"NullBrowser", nullptr, kFirefoxOptions, "Invalid arguments for kxr_GetCommandLine()"},
        Refusal{"NullOptions", "fx", nullptr, "Invalid arguments for kxr_GetCommandLine()"},
        Refusal{"BothNull", nullptr, nullptr, "Invalid arguments for kxr_GetCommandLine()"},
        Refusal{"NoOptions", "fx", "", "-runner required for kxr_GetCommandLine()"},
        Refusal{"NoRunner", "fx", "-fxProfile default", "-runner required for kxr_GetCommandLine()"},
        Refusal{"NoRunnerForChrome", "cr", "-crUserDataDir C:\\dir",
                "-runner required for kxr_GetCommandLine()"},
        Refusal{"NoRunnerForAnotherBrowser", "xx", "", "-runner required for kxr_GetCommandLine()"},
        Refusal{"RunnerInOtherLetters", "fx", "-Runner -fxProfile a",
                "-runner required for kxr_GetCommandLine()"},
        Refusal{"NoProfile", "fx", "-runner", "-fxProfile required for kxr_GetCommandLine()"},
        Refusal{"TheOtherBrowsersOptionForFirefox", "fx", "-runner -crUserDataDir C:\\dir",
                "-fxProfile required for kxr_GetCommandLine()"},
        Refusal{"NoFolder", "cr", "-runner", "-crUserDataDir required for kxr_GetCommandLine()"},
        Refusal{"EmptyFolder", "cr", "-runner -crUserDataDir=\"\"",
                "-crUserDataDir required for kxr_GetCommandLine()"},
        Refusal{"TheOtherBrowsersOptionForChrome", "cr", "-runner -fxProfile a",
                "-crUserDataDir required for kxr_GetCommandLine()"},
        Refusal{"AnotherBrowser", "xx", "-runner -fxProfile a -crUserDataDir b", "Unsupported browser xx"},
        Refusal{"BrowserInOtherLetters", "FX", kFirefoxOptions, "Unsupported browser FX"},
        Refusal{"EmptyBrowser", "", kFirefoxOptions, "Unsupported browser "},
        Refusal{"LongerBrowser", "fx ", kFirefoxOptions, "Unsupported browser fx "},
        Refusal{"PercentSigns", "%s%n", kFirefoxOptions, "Unsupported browser %s%n"}),
    [](const auto& test) { return test.param.name; });

class CommandLineSize : public CommandLine {
 protected:
  int get(GuardedBuffer& buffer, int size) {
    return dll.kxr_GetCommandLine("fx", kFirefoxOptions, buffer.get(), size, nullptr);
  }

  const std::string text = kFirefoxLine;
  const int needed = static_cast<int>(text.size()) + 1;
};

TEST_F(CommandLineSize, IsToldToANullBufferWhateverTheSize) {
  for (const int size : {0, 1, -1, INT_MIN, INT_MAX}) {
    EXPECT_EQ(dll.kxr_GetCommandLine("fx", kFirefoxOptions, nullptr, size, nullptr), needed) << size;
  }
}

TEST_F(CommandLineSize, MayBeExact) {
  GuardedBuffer buffer(text.size() + 1);

  EXPECT_EQ(get(buffer, needed), KX_OK);

  EXPECT_TRUE(buffer.holdsOnly(withZero(text)));
}

TEST_F(CommandLineSize, MayBeLarger) {
  GuardedBuffer buffer(text.size() + 10);

  EXPECT_EQ(get(buffer, needed + 9), KX_OK);

  EXPECT_TRUE(buffer.holdsOnly(withZero(text)));
}

TEST_F(CommandLineSize, IsTooSmallByOneByteAlready) {
  GuardedBuffer buffer(text.size() + 1);

  EXPECT_EQ(get(buffer, needed - 1), KX_BUFFER_TOO_SMALL);

  EXPECT_TRUE(buffer.isUntouched());
  EXPECT_FALSE(fileExists(log.path()));
}

TEST_F(CommandLineSize, OfOneByteIsTooSmall) {
  GuardedBuffer buffer(text.size() + 1);

  EXPECT_EQ(get(buffer, 1), KX_BUFFER_TOO_SMALL);

  EXPECT_TRUE(buffer.isUntouched());
}

TEST_F(CommandLineSize, OfZeroAndBelowIsUnlimited) {
  for (const int size : {0, -1, -100, INT_MIN}) {
    GuardedBuffer buffer(text.size() + 1);

    EXPECT_EQ(get(buffer, size), KX_OK) << size;

    EXPECT_TRUE(buffer.holdsOnly(withZero(text))) << size;
  }
}

}  // namespace
