// The log as a host sees it: its switches, which take effect at once, its place, and the lines that a
// debugger gets.
#include "host/host_test.h"
#include "support/win32/debugger_lines.h"

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

// The information entry and the error entry of the call below.
constexpr char kInfo[] =
    "kx_Init start, browser = fx, options = , binary_location = (null), port = 1, openNewBrowser = 0, "
    "timeout = 0";
constexpr char kError[] = "TCP protocol is no longer supported";

class Log : public HostTest {
 protected:
  void SetUp() override { context = dll.kx_ContextCreate(); }

  // One entry of information, then one error.
  void callThatLogs() { EXPECT_EQ(dll.kx_Init(context, "fx", "", nullptr, 1, 0, 0), KX_FAILED); }

  static std::string both() { return HostLog().info(kInfo).error(kError).text(); }
  static std::string errorOnly() { return HostLog().error(kError).text(); }
  static std::vector<std::string> bothLines() { return {infoLine(kInfo), errorLine(kError)}; }
  static std::vector<std::string> errorLineOnly() { return {errorLine(kError)}; }

  EnvironmentVariable onOff{"KORVEX_LOG"};
  EnvironmentVariable place{"KORVEX_LOGPATH"};
  EnvironmentVariable drive{"HOMEDRIVE"};
  EnvironmentVariable home{"HOMEPATH"};
  DebuggerLines debugger;
  int context = -1;
};

TEST_F(Log, IsSwitchedOnByOnAndTrueInAnyCase) {
  for (const char* value : {"on", "ON", "On", "oN", "true", "TRUE", "True", "tRuE"}) {
    onOff.set(value);
    log.clear();
    debugger.clear();

    callThatLogs();

    EXPECT_EQ(log.text(), both()) << value;
    EXPECT_EQ(debugger.lines(), bothLines()) << value;
  }
}

TEST_F(Log, HasErrorsOnlyWithEveryOtherValue) {
  for (const char* value : {"", "1", "yes", "off", "onn", "o", " on", "on ", "truee", "tru", "\xD0\xBEn"}) {
    onOff.set(value);
    log.clear();
    debugger.clear();

    callThatLogs();

    EXPECT_EQ(log.text(), errorOnly()) << value;
    EXPECT_EQ(debugger.lines(), errorLineOnly()) << value;
  }
}

TEST_F(Log, HasErrorsOnlyWithoutTheSwitch) {
  onOff.remove();

  callThatLogs();

  EXPECT_EQ(log.text(), errorOnly());
  EXPECT_EQ(debugger.lines(), errorLineOnly());
}

TEST_F(Log, CanBeSwitchedWhileTheLibraryIsLoaded) {
  callThatLogs();
  onOff.set("off");
  callThatLogs();
  onOff.set("true");
  callThatLogs();

  EXPECT_EQ(log.text(), both() + errorOnly() + both());
}

TEST_F(Log, CanBeMovedWhileTheLibraryIsLoaded) {
  callThatLogs();
  place.set(temp.path("other.log"));
  callThatLogs();
  place.set(log.path());
  callThatLogs();

  EXPECT_EQ(log.text(), both() + both());
  EXPECT_EQ(fileBytes(temp.path("other.log")), both());
}

TEST_F(Log, CanBeSwitchedByAHostThatUsesItsOwnRunTime) {
  onOff.remove();
  ASSERT_EQ(_putenv("KORVEX_LOG=on"), 0);

  callThatLogs();

  EXPECT_EQ(log.text(), both());
  _putenv("KORVEX_LOG=");
}

TEST_F(Log, AppendsToWhatIsThere) {
  temp.write("mine.log", "first line\n");
  place.set(temp.path("mine.log"));

  callThatLogs();

  EXPECT_EQ(fileBytes(temp.path("mine.log")), "first line\n" + both());
}

TEST_F(Log, MayLieInAFolderOutsideAscii) {
  const TempFolder folder("logs-\xC3\xBC-\xE6\x97\xA5\xE6\x9C\xAC-\xF0\x9F\x98\x80");
  place.set(folder.path("kx \xC3\xBC.log"));

  callThatLogs();

  EXPECT_EQ(fileBytes(folder.path("kx \xC3\xBC.log")), both());
}

// A host that hands a path over in UTF-8 gets this file, unless UTF-8 is the code page of its calls.
TEST_F(Log, LiesWhereTheHostsCodePagePutsAPathThatIsSetInBytes) {
  const std::string path = temp.path("kx \xC3\xBC.log");
  std::wstring read(path.size() + 1, L'\0');
  read.resize(static_cast<std::size_t>(::MultiByteToWideChar(CP_ACP, 0, path.c_str(), -1, read.data(),
                                                             static_cast<int>(read.size()))) -
              1);
  ASSERT_TRUE(::SetEnvironmentVariableA("KORVEX_LOGPATH", path.c_str()));

  callThatLogs();

  EXPECT_EQ(fileBytes(narrow(read)), both());
}

TEST_F(Log, LiesInTheHomeFolderWithoutAPathOfItsOwn) {
  drive.set(temp.path().substr(0, 2));
  home.set(temp.path().substr(2));

  for (const bool isEmpty : {true, false}) {
    if (isEmpty) {
      place.set("");
    } else {
      place.remove();
    }
    ::DeleteFileW(wide(temp.path("korvex.log")).c_str());

    callThatLogs();

    EXPECT_EQ(fileBytes(temp.path("korvex.log")), both());
  }
}

TEST_F(Log, LiesOnDriveCWithoutAHomeDrive) {
  place.remove();
  drive.remove();
  ASSERT_EQ(temp.path().substr(1, 2), ":\\");
  if ((temp.path()[0] | 0x20) != 'c') {
    GTEST_SKIP() << "the folder for temporary files is not on drive C";
  }
  home.set(temp.path().substr(2));

  callThatLogs();

  EXPECT_EQ(fileBytes(temp.path("korvex.log")), both());
}

TEST_F(Log, IsOnlyHeardByTheDebuggerWithoutAPathAndWithoutTheSwitch) {
  place.remove();
  onOff.set("off");
  drive.set(temp.path().substr(0, 2));
  home.set(temp.path().substr(2));

  callThatLogs();

  EXPECT_FALSE(fileExists(temp.path("korvex.log")));
  EXPECT_EQ(debugger.lines(), errorLineOnly());
}

TEST_F(Log, IsOnlyHeardByTheDebuggerWhenItsFileCannotBeOpened) {
  place.set("C:\\no_such_folder\\kx.log");

  callThatLogs();

  EXPECT_EQ(debugger.lines(), bothLines());
}

TEST_F(Log, IsOnlyHeardByTheDebuggerWhileAnotherProgramHoldsItsFile) {
  const HANDLE file = ::CreateFileW(wide(log.path()).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);

  callThatLogs();

  ::CloseHandle(file);
  EXPECT_EQ(log.text(), "");
  EXPECT_EQ(debugger.lines(), bothLines());
  callThatLogs();
  EXPECT_EQ(log.text(), both());
}

TEST_F(Log, NamesTheThreadThatCalled) {
  DWORD threadId = 0;

  std::thread([&] {
    threadId = ::GetCurrentThreadId();
    callThatLogs();
  }).join();

  ASSERT_NE(threadId, ::GetCurrentThreadId());
  EXPECT_EQ(log.text(), ExpectedLog(threadId).info(kInfo).error(kError).text());
}

TEST_F(Log, HoldsLongMessagesWholeWhileTheDebuggerGetsTheirBeginning) {
  const std::string options(5000, 'o');
  const std::string message = "kx_Init start, browser = fx, options = " + options +
                              ", binary_location = (null), port = 1, openNewBrowser = 0, timeout = 0";

  dll.kx_Init(context, "fx", options.c_str(), nullptr, 1, 0, 0);

  EXPECT_EQ(log.text(), HostLog().info(message).error(kError).text());
  EXPECT_EQ(debugger.lines(),
            (std::vector<std::string>{infoLine(message).substr(0, 4095), errorLine(kError)}));
}

TEST_F(Log, GivesTheDebuggerLinesOfUpTo4095Characters) {
  const std::size_t fixed =
      infoLine(
          "kx_Init start, browser = fx, options = , binary_location = (null), port = 1, "
          "openNewBrowser = 0, timeout = 0")
          .size();

  for (const std::size_t length : {std::size_t{4094}, std::size_t{4095}, std::size_t{4096}}) {
    debugger.clear();

    dll.kx_Init(context, "fx", std::string(length - fixed, 'o').c_str(), nullptr, 1, 0, 0);

    ASSERT_EQ(debugger.lines().size(), 2U);
    EXPECT_EQ(debugger.lines()[0].size(), std::min<std::size_t>(length, 4095));
  }
}

TEST_F(Log, OfManyThreadsKeepsEveryDebuggerLine) {
  constexpr int kThreads = 4;
  constexpr int kEach = 25;
  std::vector<std::thread> threads;
  for (int index = 0; index < kThreads; ++index) {
    threads.emplace_back([this] {
      for (int i = 0; i < kEach; ++i) {
        dll.kx_SetVar(-1, "name", "value");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(debugger.lines().size(), std::size_t{kThreads * kEach});
}

}  // namespace
