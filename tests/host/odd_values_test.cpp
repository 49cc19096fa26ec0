// Texts that no host should pass and that some will: every export takes them, and the library goes on
// working.
#include "host/host_test.h"

#include <ostream>
#include <string>
#include <vector>

namespace {

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

class OddValue : public HostTest, public ::testing::WithParamInterface<OddText> {
 protected:
  // The library still does what it is for.
  void TearDown() override {
    Extension extension(defaultPipe("cr"));
    const int fresh = attach("cr");
    EXPECT_EQ(dll.kx_Play(fresh, "macro", 10), KX_OK);
    EXPECT_EQ(dll.kx_Exit(fresh, 5), KX_OK);
  }

  // The text as an option's value, in quotes, behind something that no other test has.
  std::string option(const std::string& name) const { return name + "=\"" + dataFolder + text + "\""; }

  const std::string& text = GetParam().text;
  const char* const raw = GetParam().text.c_str();
};

TEST_P(OddValue, AnOddValueIsSentAsItIs) {
  Extension extension(defaultPipe());
  const int context = attach();

  EXPECT_EQ(dll.kx_SetVar(context, raw, raw), KX_OK);
  EXPECT_EQ(dll.kx_Play(context, raw, 30), KX_OK);
  EXPECT_EQ(dll.kx_Display(context, raw, 30), KX_OK);
  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, raw, 1, 30), KX_OK);

  const std::string sent = escapedForJson(text);
  EXPECT_TRUE(extension.requests() ==
              (std::vector<std::string>{initRequest(false, false), playRequest(sent, {{text, sent}}),
                                        showRequest(sent), captureRequest(sent, "webpage")}));
}

TEST_P(OddValue, AnOddValueAsBrowserOptionsOrProfileOfAStartFindsNobody) {
  const int context = dll.kx_ContextCreate();

  EXPECT_EQ(startMissing(context, raw), 2);
  expectError(context, -2, kMissingText);
  EXPECT_EQ(startMissing(context, "fx", option("-fxProfile").c_str()), 2);
  EXPECT_EQ(startMissing(context, "cr", option("-crUserDataDir").c_str()), 2);
  log.clear();
  EXPECT_EQ(startMissing(context, "fx", raw), 2);
  EXPECT_NE(log.text().find("using pipe " + defaultPipe() + "\n"), std::string::npos);
}

TEST_P(OddValue, AnOddValueAsProgramOfAStartCannotBeLaunched) {
  const int context = dll.kx_ContextCreate();

  const int result = dll.kx_Init(context, "cr", nullptr, raw, 0, 0, 1);

  EXPECT_GT(result, 0);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -result);
  EXPECT_NE(dll.lastErrorText(context), "");
}

TEST_P(OddValue, AnOddValueAsBrowserOrOptionsOfARunnerIsRefused) {
  const int context = dll.kx_ContextCreate();
  constexpr char kOptions[] = "-runner -fxProfile a -crUserDataDir b";

  EXPECT_EQ(dll.kxr_GetCommandLine(raw, kOptions, nullptr, 0, nullptr), KX_FAILED);
  EXPECT_EQ(dll.kxr_Init(context, raw, kOptions, 0, 0), KX_FAILED);
  EXPECT_EQ(dll.kxr_GetCommandLine("fx", raw, nullptr, 0, nullptr), KX_FAILED);
  EXPECT_EQ(dll.kxr_Init(context, "fx", raw, 0, 0), KX_FAILED);

  expectLog(HostLog()
                .error("Unsupported browser " + text)
                .error("kxr_Init(): Unsupported browser " + text)
                .error("-runner required for kxr_GetCommandLine()")
                .error("kxr_Init(): -runner required"));
}

TEST_P(OddValue, AnOddValueAsProfileOfARunnerFindsNobody) {
  const std::string options = "-runner " + option("-fxProfile");

  EXPECT_GT(dll.kxr_GetCommandLine("fx", options.c_str(), nullptr, 0, nullptr), 0);
  EXPECT_EQ(dll.kxr_Init(dll.kx_ContextCreate(), "fx", options.c_str(), 0, 0), KX_FAILED);
}

TEST_P(OddValue, AnOddValueAsPageOfARunnerIsNamedAsItIs) {
  const int size = dll.kxr_GetCommandLine("cr", "-runner -crUserDataDir a", nullptr, 0, raw);
  ASSERT_GT(size, 0);
  std::string line(static_cast<std::size_t>(size), '?');
  ASSERT_EQ(dll.kxr_GetCommandLine("cr", "-runner -crUserDataDir a", line.data(), size, raw), KX_OK);

  EXPECT_TRUE(line == "--user-data-dir=\"a\" file://" + (text.empty() ? startPage("a") : text) +
                          "?pipe=" + profilePipe("cr", "a") + '\0');
}

TEST_P(OddValue, AnOddValueAsAnAnswerIsRefusedOrWaitedFor) {
  Extension extension(defaultPipe());
  const int context = attach();
  extension.answersThenHangsUp(text);

  EXPECT_EQ(dll.kx_Play(context, "macro", 30), KX_FAILED);

  // What the library has not read keeps the extension writing: it reads no further request.
  extension.hangsUpNow();
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
}

INSTANTIATE_TEST_SUITE_P(Text, OddValue, ::testing::ValuesIn(oddTexts()),
                         [](const auto& test) { return test.param.name; });

class OddSurroundings : public HostTest {
 protected:
  const int context = dll.kx_ContextCreate();
};

TEST_F(OddSurroundings, OddSurroundingsWithoutAUserNameLeadToAPipeWithoutOne) {
  EnvironmentVariable name("USERNAME");
  name.remove();

  EXPECT_EQ(startMissing(context, "cr"), 2);

  EXPECT_NE(log.text().find("using pipe \\\\.\\pipe\\kx-cr-default.\n"), std::string::npos);
}

TEST_F(OddSurroundings, OddSurroundingsWithoutFoldersGiveEmptyOnes) {
  EnvironmentVariable roaming("APPDATA");
  EnvironmentVariable local("LOCALAPPDATA");
  roaming.remove();
  local.remove();

  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, nullptr, 0, 0, 1), 3);
  EXPECT_NE(log.text().find("FindFirstFileW on \\Google\\Chrome\\Application\\chrome.exe\n"),
            std::string::npos);
  EXPECT_EQ(startMissing(context), 2);
  EXPECT_NE(log.text().find("Error: Can not open \\Mozilla\\Firefox\\profiles.ini file\n"),
            std::string::npos);
}

TEST_F(OddSurroundings, OddSurroundingsLongerThanAnyPathOrPipeFailClearly) {
  const std::string longFolder = "C:\\" + std::string(30000, 'f');
  const EnvironmentVariable roaming("APPDATA", longFolder);
  const EnvironmentVariable name("USERNAME", std::string(30000, 'u'));
  tempVariable.set(longFolder);

  EXPECT_EQ(startMissing(context, "fx", "-fxProfile a"), KX_FAILED);
  expectError(context, -1,
              "Could not open temp file " + longFolder + "\\0cc175b9c0f1b6a831c399e269772661.html");
  EXPECT_EQ(startMissing(context, "cr"), 2);
  expectError(context, -2, kMissingText);
}

}  // namespace
