// Names that are not plain words, in every place where a name goes in. docs/foreign-names.md tells hosts what
// happens with each; here each of its cells is tried, and the page is compared.
#include "host/host_test.h"
#include "host/partner.h"
#include "support/win32/log_signal.h"
#include "support/win32/md5_digest.h"

#include <cctype>
#include <filesystem>
#include <functional>
#include <shellapi.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// The page's columns. Two folders of 150 characters make 300 in a path, where one name may have 255.
struct ForeignText {
  std::string text;
  bool isLong = false;
};

const std::vector<ForeignText>& foreignTexts() {
  static const std::vector<ForeignText> all = {
      {"a b"},
      {"a'b"},
      {"a&b"},
      {"a;b"},
      {"a#b"},
      {"a%41b"},
      {"a\"b"},
      {"\xD0\xB8\xD0\xBC\xD1\x8F"},  // Cyrillic
      {"\xE5\x90\x8D\xE5\xAD\x97"},  // Chinese
      {"\xF0\x9F\x98\x80"},          // an emoji
      {"ab\\"},
      {std::string(300, 'x'), true},
  };
  return all;
}

// The page's words.
constexpr char kWorks[] = "works";
constexpr char kRefused[] = "refused";       // the call fails, and the error tells
constexpr char kImpossible[] = "no file";    // the system has no such file or folder
constexpr char kSplit[] = "split";           // the browser sees more arguments
constexpr char kSwallowed[] = "swallowed";   // the browser sees fewer arguments
constexpr char kChanged[] = "changed";       // the browser sees another text
constexpr char kOtherPage[] = "other page";  // the browser reads another address
constexpr char kNoProfiles[] = "no list";    // profiles.ini is not found: an entry in the log
constexpr char kNoLog[] = "no log";          // nothing is written
constexpr char kSpoilt[] = "spoilt";         // the request is no JSON any more

std::vector<std::string> argumentsOf(const std::string& line) {
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(wide("program " + line).c_str(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    arguments.push_back(narrow(words[i]));
  }
  ::LocalFree(words);
  return arguments;
}

// What a browser sees that was given a command line.
std::string seenAs(const std::vector<std::string>& seen, const std::vector<std::string>& wanted) {
  if (seen.size() != wanted.size()) {
    return seen.size() > wanted.size() ? kSplit : kSwallowed;
  }
  return seen == wanted ? kWorks : kChanged;
}

// What a browser makes of an address: "#" ends it, "?" ends its path, and "%41" in the path is a letter.
struct ReadAddress {
  std::string page;
  std::string query;
};

ReadAddress readAddress(const std::string& address) {
  const std::string text = address.substr(0, address.find('#'));
  const std::size_t query = text.find('?');
  ReadAddress read{"", query == std::string::npos ? "" : text.substr(query + 1)};
  const std::string path = text.substr(std::string("file://").size(), query - std::string("file://").size());
  for (std::size_t i = 0; i < path.size(); ++i) {
    const bool isEscape = path[i] == '%' && i + 2 < path.size() && std::isxdigit(path[i + 1]) != 0 &&
                          std::isxdigit(path[i + 2]) != 0;
    read.page += isEscape ? static_cast<char>(std::stoi(path.substr(i + 1, 2), nullptr, 16)) : path[i];
    i += isEscape ? 2 : 0;
  }
  return read;
}

// What a browser sees whose last argument is to be the address of the start page.
std::string seenWithPage(const std::vector<std::string>& seen, std::vector<std::string> wanted,
                         const std::string& page, const std::string& pipe) {
  wanted.push_back("file://" + page + "?pipe=" + pipe);
  const std::string arguments = seenAs(seen, wanted);
  const ReadAddress read = readAddress(wanted.back());
  const bool isRead = read.page == page && read.query == "pipe=" + pipe;
  return arguments == kWorks && !isRead ? kOtherPage : arguments;
}

class ForeignNames : public HostTest {
 public:
  // A folder with the text as its name, or as the end of its path. Empty when there can be none.
  std::string folderFor(const ForeignText& foreign) const {
    const std::string half(150, 'x');
    const std::string path = temp.path(foreign.isLong ? half + "\\" + half : foreign.text);
    std::error_code error;
    std::filesystem::create_directories(wide(path), error);
    return error ? std::string() : path;
  }

  std::string commandLine(const std::string& browser, const std::string& options) const {
    const int size = dll.kxr_GetCommandLine(browser.c_str(), options.c_str(), nullptr, 0, nullptr);
    if (size < 0) {
      return {};
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    dll.kxr_GetCommandLine(browser.c_str(), options.c_str(), text.data(), size, nullptr);
    text.pop_back();
    return text;
  }

  // Attaches to an extension that serves the pipe, if there can be such a pipe.
  std::string attached(const std::string& pipe, const std::function<int(int context)>& start) const {
    std::optional<Extension> extension;
    try {
      extension.emplace(pipe);
    } catch (const std::runtime_error&) {
      // No pipe can have such a name; the host must hear of it.
    }
    const int context = dll.kx_ContextCreate();
    const int result = start(context);
    const bool isPlayed = result == KX_OK && dll.kx_Play(context, "macro", 30) == KX_OK;
    dll.kx_Exit(context, 5);
    dll.kx_ContextDestroy(context);
    return isPlayed ? kWorks : kRefused;
  }

  int startDefault(int context, const std::string& browser) const {
    return dll.kx_Init(context, browser.c_str(), nullptr, "C:\\no such folder\\b.exe", 0, 0, 30);
  }

  // ---- one function per row ----------------------------------------------------------------------------

  std::string userNameCell(const ForeignText& foreign) const {
    const std::string own = user + foreign.text;
    const EnvironmentVariable name("USERNAME", own);
    return attached("\\\\.\\pipe\\kx-cr-default." + own,
                    [&](int context) { return startDefault(context, "cr"); });
  }

  std::string runnerTempCell(const ForeignText& foreign) {
    const std::string folder = folderFor(foreign);
    tempVariable.set(folder.empty() ? temp.path(foreign.text) : folder);
    const std::string line = commandLine("cr", "-runner -crUserDataDir C:\\data");
    if (line.empty()) {
      return kRefused;
    }
    const std::string page = tempValue() + "\\" + md5Digest("C:\\data") + ".html";
    EXPECT_TRUE(fileExists(page)) << page;
    return seenWithPage(argumentsOf(line), {"--user-data-dir=C:\\data"}, page, profilePipe("cr", "C:\\data"));
  }

  std::string applicationDataCell(const ForeignText& foreign) const {
    const std::string folder = folderFor(foreign);
    const EnvironmentVariable variable("APPDATA", folder.empty() ? temp.path(foreign.text) : folder);
    if (!folder.empty()) {
      std::filesystem::create_directories(wide(folder + "\\Mozilla\\Firefox"));
      std::ofstream(std::filesystem::path(wide(folder + "\\Mozilla\\Firefox\\profiles.ini")),
                    std::ios::binary)
          << "[Profile0]\nName=listed\nDefault=1\n";
    }
    log.clear();
    Extension listed("\\\\.\\pipe\\kx-fx-listed." + user);
    Extension unlisted("\\\\.\\pipe\\kx-fx-default." + user);
    const int context = dll.kx_ContextCreate();
    EXPECT_EQ(startDefault(context, "fx"), KX_OK);
    dll.kx_Exit(context, 5);
    dll.kx_ContextDestroy(context);
    if (listed.requests().empty()) {
      EXPECT_NE(log.text().find("Can not open "), std::string::npos) << "the log tells";
      return kNoProfiles;
    }
    return kWorks;
  }

  std::string listedProfileCell(const ForeignText& foreign) const {
    const TempFolder roaming("roaming");
    const EnvironmentVariable variable("APPDATA", roaming.path());
    const std::string profile = firefoxProfile + foreign.text;
    roaming.write("Mozilla\\Firefox\\profiles.ini", "[Profile0]\nName=" + profile + "\nDefault=1\n");
    return attached("\\\\.\\pipe\\kx-fx-" + profile + "." + user,
                    [&](int context) { return startDefault(context, "fx"); });
  }

  std::string givenProfileCell(const ForeignText& foreign) const {
    const std::string profile = firefoxProfile + foreign.text;
    const std::string served = profile.ends_with('\\') ? profile.substr(0, profile.size() - 1) : profile;
    return attached(profilePipe("fx", served), [&](int context) {
      return dll.kx_Init(context, "fx", ("-fxProfile \"" + profile + "\"").c_str(),
                         "C:\\no such folder\\b.exe", 0, 0, 30);
    });
  }

  std::string runnerProfileCell(const ForeignText& foreign) const {
    const std::string profile = firefoxProfile + foreign.text;
    return attached("\\\\.\\pipe\\" + profile + ".runner", [&](int context) {
      return dll.kxr_Init(context, "fx", ("-runner -fxProfile \"" + profile + "\"").c_str(), 0, 0);
    });
  }

  std::string runnerProfileLineCell(const ForeignText& foreign) const {
    const std::string line = commandLine("fx", "-runner -fxProfile \"" + foreign.text + "\"");
    return seenAs(argumentsOf(line),
                  {"-no-remote", "-P", foreign.text, "-kx-pipe", "\\\\.\\pipe\\" + foreign.text + ".runner"});
  }

  std::string runnerFolderLineCell(const ForeignText& foreign) const {
    const std::string folder = "C:\\" + foreign.text;
    const std::string line = commandLine("cr", "-runner -crUserDataDir \"" + folder + "\"");
    const std::string named = folder.ends_with('\\') ? folder.substr(0, folder.size() - 1) : folder;
    return seenAs(argumentsOf(line), {"--user-data-dir=" + folder,
                                      "file://" + startPage(named) + "?pipe=" + profilePipe("cr", named)});
  }

  // A launch costs a pause of two seconds, so three places are tried by one: the browser's own folder, TEMP
  // and Chrome's folder. What the launched process sees tells them apart.
  std::string launched(IdleBrowser& browser, const std::string& program, const std::string& tempFolder,
                       const std::string& folder) {
    tempVariable.set(tempFolder);
    // A launched browser is ended after the second attempt, so that waits until it has told what it sees.
    const LogSignal untilItHasStarted("Client: connecting to server", 2,
                                      [&] { EXPECT_GT(browser.processId(), 0); });
    const int context = dll.kx_ContextCreate();
    const int result =
        dll.kx_Init(context, "cr", ("-crUserDataDir \"" + folder + "\"").c_str(), program.c_str(), 0, 0, 1);
    EXPECT_NE(result, KX_OK) << "nobody serves a pipe";
    std::string text = dll.lastErrorText(context);
    dll.kx_ContextDestroy(context);
    return text;
  }

  std::string launchCell(const ForeignText& foreign) {
    IdleBrowser browser;
    const std::string folder = folderFor(foreign);
    if (folder.empty()) {
      return kImpossible;
    }
    const std::string trimmed = folder.ends_with('\\') ? folder.substr(0, folder.size() - 1) : folder;
    const std::string program = trimmed + "\\chrome.exe";
    std::filesystem::copy_file(wide(browser.program()), wide(program));
    const std::string error = launched(browser, program, folder, trimmed);
    if (!browser.wasLaunched()) {
      EXPECT_NE(error, "");
      return kRefused;
    }
    const std::string page = folder + "\\" + md5Digest(trimmed) + ".html";
    const std::vector<std::string> seen = argumentsOf(browser.commandLine());
    browser.end();
    EXPECT_TRUE(browser.hasEnded());
    return seenWithPage(seen, {program, "--user-data-dir=" + trimmed}, page, profilePipe("cr", trimmed));
  }

  std::string launchFolderCell(const ForeignText& foreign) {
    IdleBrowser browser;
    const std::string folder = "C:\\" + foreign.text;
    launched(browser, browser.program(), temp.path(), folder);
    if (!browser.wasLaunched()) {
      return kRefused;
    }
    const std::string named = folder.ends_with('\\') ? folder.substr(0, folder.size() - 1) : folder;
    const std::vector<std::string> seen = argumentsOf(browser.commandLine());
    browser.end();
    EXPECT_TRUE(browser.hasEnded());
    return seenAs(seen, {browser.program(), "--user-data-dir=" + folder,
                         "file://" + startPage(named) + "?pipe=" + profilePipe("cr", named)});
  }

  std::string logPathCell(const ForeignText& foreign) const {
    const std::string folder = foreign.isLong ? folderFor(foreign) + "\\log.txt" : temp.path(foreign.text);
    const EnvironmentVariable path("KORVEX_LOGPATH", folder);
    EXPECT_EQ(dll.kx_GetLastErrorNumber(-1), KX_NO_CONTEXT);
    return fileBytes(folder).find("context -1 does not exist") != std::string::npos ? kWorks : kNoLog;
  }

  // What the browser receives when a text is sent in a request.
  std::string requestCell(const std::function<void(int context)>& send, const std::string& wanted,
                          const std::string& spoilt = "") const {
    Extension extension(defaultPipe("cr"));
    const int context = dll.kx_ContextCreate();
    EXPECT_EQ(startDefault(context, "cr"), KX_OK);
    send(context);
    const std::string request = extension.requests().at(1);
    dll.kx_Exit(context, 5);
    dll.kx_ContextDestroy(context);
    return request == wanted ? kWorks : request == spoilt ? kSpoilt : kChanged;
  }

  std::string macroCell(const ForeignText& foreign) const {
    return requestCell([&](int context) { EXPECT_EQ(dll.kx_Play(context, foreign.text.c_str(), 30), KX_OK); },
                       playRequest(escapedForJson(foreign.text)));
  }

  std::string variableNameCell(const ForeignText& foreign) const {
    const auto request = [](const std::string& name) { return playRequest("m", {{name, "value"}}); };
    return requestCell(
        [&](int context) {
          EXPECT_EQ(dll.kx_SetVar(context, foreign.text.c_str(), "value"), KX_OK);
          EXPECT_EQ(dll.kx_Play(context, "m", 30), KX_OK);
        },
        request(escapedForJson(foreign.text)), request(foreign.text));
  }

  std::string variableValueCell(const ForeignText& foreign) const {
    return requestCell(
        [&](int context) {
          EXPECT_EQ(dll.kx_SetVar(context, "name", foreign.text.c_str()), KX_OK);
          EXPECT_EQ(dll.kx_Play(context, "m", 30), KX_OK);
        },
        playRequest("m", {{"name", escapedForJson(foreign.text)}}));
  }

  std::string messageCell(const ForeignText& foreign) const {
    return requestCell(
        [&](int context) { EXPECT_EQ(dll.kx_Display(context, foreign.text.c_str(), 30), KX_OK); },
        showRequest(escapedForJson(foreign.text)));
  }

  std::string screenshotCell(const ForeignText& foreign) const {
    const std::string path = "C:\\" + foreign.text;
    return requestCell(
        [&](int context) {
          EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, path.c_str(), KX_SCREENSHOT_PAGE, 30), KX_OK);
        },
        captureRequest(escapedForJson(path), "webpage"));
  }

  std::string tempValue() const { return EnvironmentVariable::valueOf("TEMP").value_or(""); }

  template <typename Cell>
  void expectRow(const std::string& place, Cell cell) {
    std::string row = "| " + place + " |";
    for (const ForeignText& foreign : foreignTexts()) {
      SCOPED_TRACE(foreign.text);
      row += " " + (this->*cell)(foreign) + " |";
    }
    const std::string page = "\n" + fileBytes(KX_GOLDEN_DIR "/../../docs/foreign-names.md");
    EXPECT_NE(page.find("\n" + row + "\n"), std::string::npos) << "docs/foreign-names.md should hold\n"
                                                               << row;
  }
};

TEST_F(ForeignNames, ForeignNamesOfUsers) {
  expectRow("USERNAME", &ForeignNames::userNameCell);
}
TEST_F(ForeignNames, ForeignNamesOfTheTemporaryFolderForARunner) {
  expectRow("TEMP, `kxr_GetCommandLine`", &ForeignNames::runnerTempCell);
}
TEST_F(ForeignNames, ForeignNamesOfTheFolderOfApplicationData) {
  expectRow("APPDATA", &ForeignNames::applicationDataCell);
}
TEST_F(ForeignNames, ForeignNamesOfTheProfileThatFirefoxStartsWith) {
  expectRow("Firefox profile in profiles.ini", &ForeignNames::listedProfileCell);
}
TEST_F(ForeignNames, ForeignNamesOfAGivenFirefoxProfile) {
  expectRow("Firefox profile, `kx_Init`, attaching", &ForeignNames::givenProfileCell);
}
TEST_F(ForeignNames, ForeignNamesOfARunnersFirefoxProfile) {
  expectRow("Firefox profile, `kxr_Init`", &ForeignNames::runnerProfileCell);
}
TEST_F(ForeignNames, ForeignNamesOfARunnersFirefoxProfileOnTheCommandLine) {
  expectRow("Firefox profile, `kxr_GetCommandLine`", &ForeignNames::runnerProfileLineCell);
}
TEST_F(ForeignNames, ForeignNamesOfARunnersChromeFolderOnTheCommandLine) {
  expectRow("Chrome's folder, `kxr_GetCommandLine`", &ForeignNames::runnerFolderLineCell);
}
TEST_F(ForeignNames, ForeignNamesOfTheBrowsersPathAndTheTemporaryFolderAtALaunch) {
  expectRow("browser's path, and TEMP, `kx_Init`", &ForeignNames::launchCell);
}
TEST_F(ForeignNames, ForeignNamesOfChromesFolderAtALaunch) {
  expectRow("Chrome's folder, `kx_Init`", &ForeignNames::launchFolderCell);
}
TEST_F(ForeignNames, ForeignNamesOfTheLog) {
  expectRow("KORVEX_LOGPATH", &ForeignNames::logPathCell);
}
TEST_F(ForeignNames, ForeignNamesInMacros) {
  expectRow("macro", &ForeignNames::macroCell);
}
TEST_F(ForeignNames, ForeignNamesOfVariables) {
  expectRow("variable's name", &ForeignNames::variableNameCell);
}
TEST_F(ForeignNames, ForeignNamesInValuesOfVariables) {
  expectRow("variable's value", &ForeignNames::variableValueCell);
}
TEST_F(ForeignNames, ForeignNamesInMessages) {
  expectRow("message", &ForeignNames::messageCell);
}
TEST_F(ForeignNames, ForeignNamesOfScreenshots) {
  expectRow("screenshot's path", &ForeignNames::screenshotCell);
}

}  // namespace
