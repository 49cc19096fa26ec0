// Finding and starting a browser: where it is looked for, with what it is started, and how a failed start is
// told.
#include "process/win32/browser_launch.h"

#include "support/fake_browser.h"
#include "support/win32/helper_process.h"
#include "support/win32/log_file.h"
#include "support/win32/next_handle.h"
#include "support/win32/temp_folder.h"
#include "support/win32/windows_calls_override.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace kx {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kBlankFolder[] = "folder with blanks";

// Windows claims to have this major version.
class WindowsVersionIs {
 public:
  explicit WindowsVersionIs(DWORD major)
      : get_([major](OSVERSIONINFOA* version) {
          EXPECT_EQ(version->dwOSVersionInfoSize, 148U);
          version->dwMajorVersion = major;
          version->dwMinorVersion = 9;
          return TRUE;
        }) {}

 private:
  SubstitutedCall<&WindowsCalls::getVersion> get_;
};

// Every program is found, or none with the given error. Records where it was looked for.
class ProgramSearch {
 public:
  explicit ProgramSearch(DWORD error = ERROR_SUCCESS)
      : find_([this, error](LPCWSTR path, WIN32_FIND_DATAW* data) {
          paths.push_back(narrow(path));
          return error == ERROR_SUCCESS ? find_.real(wide(ownProgramPath()).c_str(), data)
                                        : failWith(error, INVALID_HANDLE_VALUE);
        }) {}

  std::vector<std::string> paths;

 private:
  SubstitutedCall<&WindowsCalls::findFirstFile> find_;
};

// Records what a process is created with, and fails with the given error or tells of a process made of two
// events.
class RecordedStart {
 public:
  explicit RecordedStart(DWORD error = ERROR_SUCCESS)
      : create_([this, error](LPCWSTR application, LPWSTR line, SECURITY_ATTRIBUTES* processSecurity,
                              SECURITY_ATTRIBUTES* threadSecurity, BOOL inherits, DWORD flags,
                              void* environment, LPCWSTR workingFolder, STARTUPINFOW* startup,
                              PROCESS_INFORMATION* process) {
          EXPECT_EQ(application, nullptr);
          EXPECT_EQ(processSecurity, nullptr);
          EXPECT_EQ(threadSecurity, nullptr);
          EXPECT_EQ(inherits, FALSE);
          EXPECT_EQ(flags, 0U);
          EXPECT_EQ(environment, nullptr);
          STARTUPINFOW expected{};
          expected.cb = sizeof(expected);
          EXPECT_EQ(std::memcmp(startup, &expected, sizeof(expected)), 0);
          commandLine = narrow(line);
          folder = narrow(workingFolder);
          if (error != ERROR_SUCCESS) {
            return failWith(error, FALSE);
          }
          processHandle = process->hProcess = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
          threadHandle = process->hThread = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
          process->dwProcessId = 4294967290U;
          process->dwThreadId = 77;
          return TRUE;
        }) {}

  int count() const { return create_.count(); }

  std::string commandLine;
  std::string folder;
  HANDLE processHandle = nullptr;
  HANDLE threadHandle = nullptr;

 private:
  SubstitutedCall<&WindowsCalls::createProcess> create_;
};

TEST(DefaultBrowserPath, ThePathOfFirefoxIsFixedAndOfAnyOtherBrowserButChromeEmpty) {
  EXPECT_EQ(defaultBrowserPath(FakeBrowser("fx")), "c:\\Program Files\\Mozilla Firefox\\firefox.exe");
  EXPECT_EQ(defaultBrowserPath(FakeBrowser("ie")), "");
  EXPECT_EQ(defaultBrowserPath(FakeBrowser("")), "");
}

TEST(DefaultBrowserPath, ThePathOfChromeDependsOnTheVersionOfWindows) {
  const FakeBrowser chrome("cr");
  const std::string below = "\\Google\\Chrome\\Application\\chrome.exe";
  EnvironmentVariable local("LOCALAPPDATA", "C:\\Users\\a\\AppData\\Local");
  EnvironmentVariable drive("HOMEDRIVE", "D:");
  const EnvironmentVariable home("HOMEPATH", "\\a");
  const auto pathOn = [&chrome](DWORD version) {
    const WindowsVersionIs windows(version);
    return defaultBrowserPath(chrome);
  };
  for (const DWORD version : {6U, 7U, 10U, 4294967295U}) {
    EXPECT_EQ(pathOn(version), "C:\\Users\\a\\AppData\\Local" + below);
  }
  EXPECT_EQ(defaultBrowserPath(chrome), "C:\\Users\\a\\AppData\\Local" + below) << "on this system";
  for (const DWORD version : {0U, 3U, 4U}) {
    EXPECT_EQ(pathOn(version), "");
  }
  EXPECT_EQ(pathOn(5), "D:\\a\\Local Settings\\Application Data" + below);
  drive.remove();
  EXPECT_EQ(pathOn(5), "c:\\a\\Local Settings\\Application Data" + below);
  local.remove();
  EXPECT_EQ(defaultBrowserPath(chrome), below);
}

class BrowserLaunch : public testing::Test {
 protected:
  FakeBrowser browser{"cr"};
  LogFile log;
};

TEST_F(BrowserLaunch, ALaunchLooksForTheDefaultBrowserWhenNoPathIsGiven) {
  const EnvironmentVariable local("LOCALAPPDATA", "C:\\grün");
  const WindowsVersionIs windows(10);
  const ProgramSearch search(ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(launchBrowser(browser, nullptr, {}));
  EXPECT_THAT(search.paths, ElementsAre("C:\\grün\\Google\\Chrome\\Application\\chrome.exe"));
}

TEST_F(BrowserLaunch, AnEmptyPathIsNoProgram) {
  const ProgramSearch search(ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(launchBrowser(browser, "", {}));
  EXPECT_THAT(search.paths, ElementsAre("")) << "and not the default browser";
}

TEST_F(BrowserLaunch, AMissingProgramIsToldInTwoWordings) {
  const TempFolder folder("grün");
  const RecordedStart start;
  const std::string path = folder.path("missing.exe");
  EXPECT_FALSE(launchBrowser(browser, path.c_str(), {"-argument"}));
  EXPECT_EQ(browser.errorNumber(), 2);
  EXPECT_EQ(browser.errorText(), "Browser binary " + path + " doesn't exists");
  EXPECT_EQ(log.text(), ExpectedLog().error("Browser binary " + path + " doesn't exist").text());
  EXPECT_EQ(start.count(), 0);
  EXPECT_EQ(browser.browserProcessId(), 0U);
}

TEST_F(BrowserLaunch, EveryOtherErrorOfTheSearchIsToldByItsNumber) {
  const RecordedStart start;
  ExpectedLog expected;
  for (const DWORD error : {DWORD{ERROR_PATH_NOT_FOUND}, DWORD{ERROR_ACCESS_DENIED}}) {
    const ProgramSearch search(error);
    EXPECT_FALSE(launchBrowser(browser, "C:\\browser.exe", {}));
    EXPECT_EQ(browser.errorNumber(), static_cast<int>(error));
    EXPECT_EQ(browser.errorText(), "Error finding browser binary");
    expected.error("Error " + std::to_string(error) + " calling FindFirstFileW on C:\\browser.exe");
  }
  EXPECT_EQ(log.text(), expected.text());
  EXPECT_EQ(start.count(), 0);
}

TEST_F(BrowserLaunch, ALaunchPassesPathAndArgumentsOn) {
  const ProgramSearch search;
  const RecordedStart start;
  EXPECT_TRUE(launchBrowser(browser, "C:\\Program Files\\Mozilla Firefox\\firefox.exe",
                            {"-kx-pipe", "\\\\.\\pipe\\kx", "a b", "\"c d\"", "\"e f", ""}));
  EXPECT_THAT(search.paths, ElementsAre("C:\\Program Files\\Mozilla Firefox\\firefox.exe"));
  EXPECT_EQ(start.count(), 1);
  EXPECT_EQ(
      start.commandLine,
      "\"C:\\Program Files\\Mozilla Firefox\\firefox.exe\" -kx-pipe \\\\.\\pipe\\kx \"a b\" \"c d\" \"e f ");
  EXPECT_EQ(start.folder, "C:\\Program Files\\Mozilla Firefox");
}

TEST_F(BrowserLaunch, ALaunchUsesAPathWithoutABackslashAsTheFolder) {
  const ProgramSearch search;
  const RecordedStart start;
  EXPECT_TRUE(launchBrowser(browser, "grün.exe", {}));
  EXPECT_EQ(start.commandLine, "grün.exe");
  EXPECT_EQ(start.folder, "grün.exe");
}

TEST_F(BrowserLaunch, ALaunchLogsTheArgumentsBeforeTheyAreQuotedAndABlankEvenWithoutAny) {
  const ProgramSearch search;
  const RecordedStart start;
  EXPECT_TRUE(launchBrowser(browser, "C:\\a b\\browser.exe", {"one", "two three"}));
  EXPECT_TRUE(launchBrowser(browser, "C:\\browser.exe", {}));
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Starting binary C:\\a b\\browser.exe one two three")
                            .info("Starting binary C:\\browser.exe ")
                            .text());
}

TEST_F(BrowserLaunch, ALaunchKeepsTheProcessIdAndNoHandle) {
  const ProgramSearch search;
  const RecordedStart start;
  browser.fail(12, "of earlier");
  EXPECT_TRUE(launchBrowser(browser, "C:\\browser.exe", {}));
  EXPECT_EQ(browser.browserProcessId(), 4294967290U);
  EXPECT_FALSE(isOpen(start.processHandle));
  EXPECT_FALSE(isOpen(start.threadHandle));
  EXPECT_EQ(browser.errorNumber(), 12);
  EXPECT_EQ(browser.errorText(), "of earlier");
}

TEST_F(BrowserLaunch, AProgramThatCannotBeStartedIsToldWithItsPath) {
  const ProgramSearch search;
  const RecordedStart start(ERROR_SHARING_VIOLATION);
  browser.setBrowserProcessId(99);
  EXPECT_FALSE(launchBrowser(browser, "C:\\browser.exe", {"-x"}));
  EXPECT_EQ(browser.errorNumber(), 32);
  EXPECT_EQ(browser.errorText(), "Couldn't start browser binary C:\\browser.exe");
  EXPECT_EQ(browser.browserProcessId(), 99U);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Starting binary C:\\browser.exe -x")
                            .error("Couldn't start browser binary C:\\browser.exe")
                            .text());
}

TEST_F(BrowserLaunch, AFileThatIsNoProgramCannotBeStarted) {
  const TempFolder folder;
  const std::string path = folder.write("browser.exe", "no program");
  EXPECT_FALSE(launchBrowser(browser, path.c_str(), {}));
  EXPECT_EQ(browser.errorNumber(), ERROR_BAD_EXE_FORMAT);
  EXPECT_EQ(browser.errorText(), "Couldn't start browser binary " + path);
  EXPECT_EQ(browser.browserProcessId(), 0U);
}

TEST_F(BrowserLaunch, ALaunchStartsARealProgramInItsFolderWithTheCallersEnvironment) {
  const TempFolder folder(kBlankFolder);
  const EnvironmentVariable mark("KX_TEST_MARK", "grün");
  const std::string path = folder.path("browser ü.exe");
  ASSERT_TRUE(::CopyFileW(wide(ownProgramPath()).c_str(), wide(path).c_str(), TRUE));
  const std::string report = folder.path("report ü.txt");
  std::optional<HANDLE> process;
  SubstitutedCall<&WindowsCalls::createProcess> create(
      [&](LPCWSTR application, LPWSTR line, SECURITY_ATTRIBUTES* processSecurity,
          SECURITY_ATTRIBUTES* threadSecurity, BOOL inherits, DWORD flags, void* environment,
          LPCWSTR workingFolder, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
        const BOOL done = create.real(application, line, processSecurity, threadSecurity, inherits, flags,
                                      environment, workingFolder, startup, information);
        process = ::OpenProcess(SYNCHRONIZE, FALSE, information->dwProcessId);
        return done;
      });

  ASSERT_TRUE(launchBrowser(browser, path.c_str(), {kHelperSwitch, "report", report}));

  EXPECT_NE(browser.browserProcessId(), 0U);
  ASSERT_EQ(::WaitForSingleObject(process.value_or(nullptr), 30000), WAIT_OBJECT_0);
  ::CloseHandle(*process);
  EXPECT_EQ(fileBytes(report), "\"" + path + "\" " + kHelperSwitch + " report \"" + report + "\"\n" +
                                   folder.path() + "\n" + "grün\n");
}

TEST_F(BrowserLaunch, ALaunchKeepsTheIdOfTheRealProcess) {
  const NamedEvent end;
  ASSERT_TRUE(launchBrowser(browser, ownProgramPath().c_str(), {kHelperSwitch, "wait", end.name()}));
  const HANDLE process =
      ::OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, browser.browserProcessId());
  ASSERT_NE(process, nullptr);
  EXPECT_EQ(::WaitForSingleObject(process, 0), DWORD{WAIT_TIMEOUT});
  end.signal();
  EXPECT_EQ(::WaitForSingleObject(process, 30000), WAIT_OBJECT_0);
  ::CloseHandle(process);
}

}  // namespace

}  // namespace kx
