// Texts that no host should pass and that some will: every export takes them, and the library goes on
// working.
#include "host/host_test.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace {

constexpr char kMissing[] = "C:\\windows\\no_such_browser.exe";
constexpr std::size_t kMegabyte = 1024 * 1024;

struct OddText {
  std::string name;
  std::string text;
};

void PrintTo(const OddText& text, std::ostream* stream) {
  *stream << text.name;
}

std::string repeated(const std::string& text, std::size_t size) {
  std::string result;
  while (result.size() < size) {
    result += text;
  }
  return result;
}

std::vector<OddText> oddTexts() {
  return {
      {"Empty", ""},
      {"Blank", " "},
      {"Formats", "%s%n%d%p%*.*f%hhn%99999999d"},
      {"NoUtf8", "\xFF\xFE\x80\xC3(\xE2\x82\xF0\x9F"},
      {"Overlong", "\xC0\xAF\xC0\x80"},
      {"SurrogateAsUtf8", "\xED\xA0\xBD"},
      {"Controls", "\x01\x02\x07\x08\x0B\x1B\x1F\x7F"},
      {"LineEnds", "\r\n\n\r"},
      {"Quotes", "\"\"\"\""},
      {"OneQuote", "\""},
      {"Backslashes", "\\\\\\\\"},
      {"DeviceStart", "\\\\."},
      {"Device", "NUL"},
      {"Wildcards", "C:\\*?"},
      {"Json", "{\"type\":\"exit\"}"},
      {"Hyphens", "-----"},
      {"Equals", "=-a=="},
      {"LongerThanAPath", std::string(300, 'p')},
      {"LongerThanAWindowsText", std::string(40000, 'w')},
      {"MegabyteOfLetters", std::string(kMegabyte, 'x')},
      {"MegabyteOfQuotes", std::string(kMegabyte, '"')},
      {"MegabyteOfHyphens", std::string(kMegabyte, '-')},
      {"MegabyteOfBlanks", std::string(kMegabyte, ' ')},
      {"MegabyteOfOptions", repeated("-a=\"b\" ", kMegabyte)},
      {"MegabyteOfOpenQuotes", repeated("-a=\"", kMegabyte)},
      {"MegabyteOfUtf8", repeated("\xE2\x82\xAC", kMegabyte)},
      {"MegabyteOfNoUtf8", std::string(kMegabyte, '\xFF')},
  };
}

// The text as a request holds it.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '"':
      case '\\':
        result += '\\';
        result += c;
        break;
      case '\b':
        result += "\\b";
        break;
      case '\t':
        result += "\\t";
        break;
      case '\n':
        result += "\\n";
        break;
      case '\f':
        result += "\\f";
        break;
      case '\r':
        result += "\\r";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string nameOf(const ::testing::TestParamInfo<OddText>& test) {
  return test.param.name;
}

class OddValue : public HostTest, public ::testing::WithParamInterface<OddText> {
 protected:
  void SetUp() override { context = dll.kx_ContextCreate(); }

  // The library still does what it is for.
  void TearDown() override {
    FakeExtension extension(defaultPipe("cr"));
    const int fresh = dll.kx_ContextCreate();
    ASSERT_EQ(dll.kx_Init(fresh, "cr", nullptr, nullptr, 0, 0, 30), KX_OK);
    EXPECT_EQ(dll.kx_Play(fresh, "macro", 10), KX_OK);
    EXPECT_EQ(dll.kx_Exit(fresh, 5), KX_OK);
  }

  const std::string& text() const { return GetParam().text; }
  const char* raw() const { return GetParam().text.c_str(); }

  // The text as an option's value, in quotes, behind something that no other test has.
  std::string option(const std::string& name) const { return name + "=\"" + dataFolder + text() + "\""; }

  int context = -1;
};

TEST_P(OddValue, IsSentAsItIs) {
  FakeExtension extension(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(dll.kx_SetVar(context, "name", raw()), KX_OK);
  EXPECT_EQ(dll.kx_Play(context, raw(), 30), KX_OK);
  EXPECT_EQ(dll.kx_Display(context, raw(), 30), KX_OK);
  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, raw(), 1, 30), KX_OK);

  const std::string sent = escaped(text());
  EXPECT_TRUE(extension.requests() ==
              (std::vector<std::string>{initRequest(false, false),
                                        playRequest(sent, "{\n   \"name\" : \"" + sent + "\"\n  }"),
                                        showRequest(sent), captureRequest(sent, "webpage")}));
}

TEST_P(OddValue, MayBeAVariablesName) {
  FakeExtension extension(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(dll.kx_SetVar(context, raw(), "value"), KX_OK);
  EXPECT_EQ(dll.kx_Play(context, "macro", 30), KX_OK);

  EXPECT_TRUE(extension.requests().at(1) ==
              playRequest("macro", "{\n   \"" + text() + "\" : \"value\"\n  }"));
}

TEST_P(OddValue, AsBrowserOfAStartFindsNone) {
  EXPECT_EQ(dll.kx_Init(context, raw(), nullptr, kMissing, 0, 0, 1), 2);

  EXPECT_EQ(dll.lastErrorText(context), std::string("Browser binary ") + kMissing + " doesn't exists");
}

TEST_P(OddValue, AsOptionsOfAStartHasNoEffect) {
  EXPECT_EQ(dll.kx_Init(context, "fx", raw(), kMissing, 0, 0, 1), 2);

  EXPECT_NE(log.text().find("Client: connecting to server using pipe " + defaultPipe() + "\n"),
            std::string::npos);
}

TEST_P(OddValue, AsProfileOfAStartFindsNobody) {
  EXPECT_EQ(dll.kx_Init(context, "fx", option("-fxProfile").c_str(), kMissing, 0, 0, 1), 2);
  EXPECT_EQ(dll.kx_Init(context, "cr", option("-crUserDataDir").c_str(), kMissing, 0, 0, 1), 2);
}

TEST_P(OddValue, AsProgramOfAStartCannotBeLaunched) {
  const int result = dll.kx_Init(context, "cr", nullptr, raw(), 0, 0, 1);

  EXPECT_GT(result, 0);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -result);
  EXPECT_NE(dll.lastErrorText(context), "");
}

TEST_P(OddValue, AsBrowserOfARunnerIsRefused) {
  EXPECT_EQ(dll.kxr_GetCommandLine(raw(), "-runner -fxProfile a -crUserDataDir b", nullptr, 0, nullptr),
            KX_FAILED);
  EXPECT_EQ(dll.kxr_Init(context, raw(), "-runner -fxProfile a -crUserDataDir b", 0, 0), KX_FAILED);

  EXPECT_EQ(log.text(), HostLog()
                            .error("Unsupported browser " + text())
                            .error("kxr_Init(): Unsupported browser " + text())
                            .text());
}

TEST_P(OddValue, AsOptionsOfARunnerIsRefused) {
  EXPECT_EQ(dll.kxr_GetCommandLine("fx", raw(), nullptr, 0, nullptr), KX_FAILED);
  EXPECT_EQ(dll.kxr_Init(context, "fx", raw(), 0, 0), KX_FAILED);

  EXPECT_EQ(log.text(), HostLog()
                            .error("-runner required for kxr_GetCommandLine()")
                            .error("kxr_Init(): -runner required")
                            .text());
}

TEST_P(OddValue, AsProfileOfARunnerFindsNobody) {
  const std::string options = "-runner " + option("-fxProfile");

  EXPECT_GT(dll.kxr_GetCommandLine("fx", options.c_str(), nullptr, 0, nullptr), 0);
  EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 0), KX_FAILED);
}

TEST_P(OddValue, AsPageOfARunnerIsNamedAsItIs) {
  const int size = dll.kxr_GetCommandLine("cr", "-runner -crUserDataDir a", nullptr, 0, raw());
  ASSERT_GT(size, 0);
  std::string line(static_cast<std::size_t>(size), '?');
  ASSERT_EQ(dll.kxr_GetCommandLine("cr", "-runner -crUserDataDir a", line.data(), size, raw()), KX_OK);

  const std::string page = text().empty() ? startPage("a") : text();
  EXPECT_TRUE(line == "--user-data-dir=\"a\" file://" + page +
                          "?pipe=\\\\.\\pipe\\kx-cr-0cc175b9c0f1b6a831c399e269772661.runner" + '\0');
}

TEST_P(OddValue, AsAnAnswerIsRefusedOrWaitedFor) {
  FakeExtension extension(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  extension.answersThenHangsUp(text());

  EXPECT_EQ(dll.kx_Play(context, "macro", 30), KX_FAILED);

  // What the library has not read keeps the extension writing, and so from reading.
  extension.hangsUpNow();
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
}

INSTANTIATE_TEST_SUITE_P(Text, OddValue, ::testing::ValuesIn(oddTexts()), nameOf);

class OddSurroundings : public HostTest {
 protected:
  void SetUp() override { context = dll.kx_ContextCreate(); }

  int context = -1;
};

TEST_F(OddSurroundings, WithoutAUserNameLeadToAPipeWithoutOne) {
  EnvironmentVariable name("USERNAME");
  name.remove();

  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, kMissing, 0, 0, 1), 2);

  EXPECT_NE(log.text().find("using pipe \\\\.\\pipe\\kx-cr-default.\n"), std::string::npos);
}

TEST_F(OddSurroundings, WithAUserNameOutsideAsciiStillFindTheExtension) {
  const std::string umlauts = user + "-\xC3\xBC\xE6\x97\xA5";
  const EnvironmentVariable name("USERNAME", umlauts);
  FakeExtension extension("\\\\.\\pipe\\kx-cr-default." + umlauts);

  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, nullptr, 0, 0, 30), KX_OK);
}

TEST_F(OddSurroundings, WithoutFoldersGiveEmptyOnes) {
  EnvironmentVariable roaming("APPDATA");
  EnvironmentVariable local("LOCALAPPDATA");
  roaming.remove();
  local.remove();

  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, nullptr, 0, 0, 1), 3);
  EXPECT_NE(log.text().find("FindFirstFileW on \\Google\\Chrome\\Application\\chrome.exe\n"),
            std::string::npos);
  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 1), 2);
  EXPECT_NE(log.text().find("Error: Can not open \\Mozilla\\Firefox\\profiles.ini file\n"),
            std::string::npos);
}

TEST_F(OddSurroundings, WithFoldersLongerThanAnyPathFailClearly) {
  const std::string longFolder = "C:\\" + std::string(30000, 'f');
  const EnvironmentVariable roaming("APPDATA", longFolder);
  tempVariable.set(longFolder);

  EXPECT_EQ(dll.kx_Init(context, "fx", "-fxProfile a", kMissing, 0, 0, 1), KX_FAILED);

  EXPECT_EQ(dll.lastErrorText(context),
            "Could not open temp file " + longFolder + "\\0cc175b9c0f1b6a831c399e269772661.html");
}

TEST_F(OddSurroundings, WithAUserNameLongerThanAPipesFailClearly) {
  const EnvironmentVariable name("USERNAME", std::string(30000, 'u'));

  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, kMissing, 0, 0, 1), 2);

  EXPECT_EQ(dll.lastErrorText(context), "Browser binary " + std::string(kMissing) + " doesn't exists");
}

}  // namespace
