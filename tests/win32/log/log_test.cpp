// The log on a real file, with the debugger lines that go with it.
#include "log/log.h"

#include "support/win32/debugger_lines.h"
#include "support/win32/environment_variable.h"
#include "support/win32/log_file.h"
#include "support/win32/temp_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <cstdlib>
#include <string>

namespace kx {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Log, InformationIsOneLineWithItsIdsInFront) {
  const LogFile log;
  __loginf("opened %s, %d times", "the pipe", 3);
  EXPECT_EQ(log.text(), ExpectedLog().info("opened the pipe, 3 times").text());
}

TEST(Log, AnErrorsIdsStandAtTheBeginningOfTheNextLine) {
  const LogFile log;
  __logerr("it broke: %d", 7);
  __loginf("going on");
  EXPECT_EQ(log.text(), ExpectedLog().error("it broke: 7").info("going on").text());
}

TEST(Log, LineEndsAreSingleLineFeedsWhateverTheMessageHolds) {
  const LogFile log;
  __loginf("one\ntwo\r\n");
  EXPECT_EQ(log.text(), ExpectedLog().info("one\ntwo\r\n").text());
}

TEST(Log, EveryEntryIsAppendedToWhatTheFileHoldsAlready) {
  const TempFolder folder;
  const std::string path = folder.write("old.log", "old text");
  const LogFile log;
  const EnvironmentVariable place("KORVEX_LOGPATH", path);
  __loginf("new");
  EXPECT_EQ(fileBytes(path), "old text" + ExpectedLog().info("new").text());
}

TEST(Log, TheFileIsFreeBetweenEntries) {
  const LogFile log;
  __loginf("first");
  EXPECT_TRUE(::DeleteFileW(wide(log.path()).c_str()));
}

TEST(Log, TheDebuggerGetsEachEntryWithoutALineEnd) {
  const LogFile log;
  const DebuggerLines debugger;
  __loginf("information %d", 1);
  __logerr("error %s", "two");
  EXPECT_THAT(debugger.lines(), ElementsAre(infoLine("information 1"), errorLine("error two")));
}

TEST(Log, SwitchedOffInformationReachesNeitherFileNorDebugger) {
  const LogFile log;
  EnvironmentVariable logSwitch("KORVEX_LOG");
  const DebuggerLines debugger;
  for (const char* value : {"", "1", "yes", "off", "onn", "o", "true ", " on"}) {
    logSwitch.set(value);
    __loginf("with the switch at '%s'", value);
  }
  logSwitch.remove();
  __loginf("without the switch");
  EXPECT_THAT(debugger.lines(), IsEmpty());
  EXPECT_FALSE(fileExists(log.path()));
}

TEST(Log, OnAndTrueSwitchInformationOnInAnyCase) {
  const LogFile log;
  EnvironmentVariable logSwitch("KORVEX_LOG");
  ExpectedLog expected;
  for (const char* value : {"on", "ON", "oN", "true", "True", "TRUE"}) {
    logSwitch.set(value);
    __loginf("%s", value);
    expected.info(value);
  }
  EXPECT_EQ(log.text(), expected.text());
}

TEST(Log, ErrorsAreWrittenEvenWhileLoggingIsOff) {
  const LogFile log;
  const EnvironmentVariable logSwitch("KORVEX_LOG", "off");
  const DebuggerLines debugger;
  __loginf("nobody reads this");
  __logerr("bad");
  EXPECT_EQ(log.text(), ExpectedLog().error("bad").text());
  EXPECT_THAT(debugger.lines(), ElementsAre(errorLine("bad")));
}

TEST(Log, WithoutSwitchAndPathAnErrorGoesToTheDebuggerOnly) {
  const TempFolder home;
  EnvironmentVariable logSwitch("KORVEX_LOG");
  EnvironmentVariable place("KORVEX_LOGPATH");
  const EnvironmentVariable drive("HOMEDRIVE", "");
  const EnvironmentVariable path("HOMEPATH", home.path());
  logSwitch.remove();
  place.remove();
  const DebuggerLines debugger;
  __logerr("bad");
  EXPECT_THAT(debugger.lines(), ElementsAre(errorLine("bad")));
  EXPECT_FALSE(fileExists(home.path("korvex.log")));
}

TEST(Log, SwitchedOnWithoutAPathItWritesToTheHomeDirectory) {
  const TempFolder home;
  const LogFile log;
  EnvironmentVariable place("KORVEX_LOGPATH", "");
  const EnvironmentVariable drive("HOMEDRIVE", home.path().substr(0, 2));
  const EnvironmentVariable path("HOMEPATH", home.path().substr(2));
  __loginf("an empty path");
  place.remove();
  __loginf("no path");
  EXPECT_EQ(fileBytes(home.path("korvex.log")), ExpectedLog().info("an empty path").info("no path").text());
}

TEST(Log, ChangedVariablesTakeEffectWithTheNextEntry) {
  const TempFolder folder;
  const LogFile log;
  EnvironmentVariable place("KORVEX_LOGPATH", folder.path("one.log"));
  __loginf("first");
  place.set(folder.path("two.log"));
  __loginf("second");
  EXPECT_EQ(fileBytes(folder.path("one.log")), ExpectedLog().info("first").text());
  EXPECT_EQ(fileBytes(folder.path("two.log")), ExpectedLog().info("second").text());
}

TEST(Log, AVariableSetThroughTheRunTimeLibraryTakesEffectToo) {
  const LogFile log;
  EnvironmentVariable logSwitch("KORVEX_LOG");
  logSwitch.remove();
  ::_putenv("KORVEX_LOG=true");
  __loginf("heard");
  ::_putenv("KORVEX_LOG=");
  __loginf("not heard");
  EXPECT_EQ(log.text(), ExpectedLog().info("heard").text());
}

TEST(Log, ThePathMayHoldCharactersOutsideAscii) {
  const TempFolder folder("pfäd-日本");
  const LogFile log;
  const EnvironmentVariable place("KORVEX_LOGPATH", folder.path("lög €.log"));
  __loginf("grüße");
  EXPECT_EQ(fileBytes(folder.path("lög €.log")), ExpectedLog().info("grüße").text());
}

TEST(Log, AFileThatCannotBeOpenedIsIgnoredAndTheDebuggerStillHears) {
  const TempFolder folder;
  const LogFile log;
  const EnvironmentVariable place("KORVEX_LOGPATH", folder.path("missing\\kx.log"));
  const DebuggerLines debugger;
  __loginf("information");
  __logerr("error");
  EXPECT_THAT(debugger.lines(), ElementsAre(infoLine("information"), errorLine("error")));
  EXPECT_FALSE(fileExists(folder.path("missing")));
}

TEST(Log, ALongMessageIsWholeInTheFileAndCutAt4095CharactersForTheDebugger) {
  const LogFile log;
  const DebuggerLines debugger;
  const std::string message(5000, 'm');
  __loginf("%s", message.c_str());
  __logerr("%s", message.c_str());
  EXPECT_EQ(log.text(), ExpectedLog().info(message).error(message).text());
  EXPECT_THAT(debugger.lines(),
              ElementsAre(infoLine(message).substr(0, 4095), errorLine(message).substr(0, 4095)));
}

TEST(Log, ADebuggerLineOfExactly4095CharactersIsNotCut) {
  const LogFile log;
  const DebuggerLines debugger;
  const std::string message(4095 - infoLine("").size(), 'm');
  __loginf("%s", message.c_str());
  __loginf("%sx", message.c_str());
  EXPECT_THAT(debugger.lines(), ElementsAre(infoLine(message), infoLine(message)));
}

TEST(Log, TheLastErrorSurvivesEveryEntry) {
  const LogFile log;
  const TempFolder folder;
  EnvironmentVariable place("KORVEX_LOGPATH");
  EnvironmentVariable logSwitch("KORVEX_LOG");
  for (const std::string& path : {log.path(), folder.path("missing\\kx.log"), std::string()}) {
    for (const char* value : {"on", "off"}) {
      place.set(path);
      logSwitch.set(value);
      ::SetLastError(4711);
      __loginf("information");
      EXPECT_EQ(::GetLastError(), 4711U) << path << " " << value;
      ::SetLastError(4712);
      __logerr("error");
      EXPECT_EQ(::GetLastError(), 4712U) << path << " " << value;
    }
  }
}

TEST(Log, AZeroByteIsWrittenToTheFileAndEndsTheDebuggerLine) {
  const LogFile log;
  const DebuggerLines debugger;
  __logerr("before %c after", 0);
  EXPECT_EQ(log.text(), ExpectedLog().error(std::string("before \0 after", 14)).text());
  EXPECT_THAT(debugger.lines(), ElementsAre(errorLine("before ")));
}

TEST(Log, EntriesOfAnotherThreadCarryItsId) {
  const LogFile log;
  DWORD threadId = 0;
  const HANDLE thread = ::CreateThread(
      nullptr, 0,
      [](void*) -> DWORD {
        __loginf("from the thread");
        return 0;
      },
      nullptr, 0, &threadId);
  ASSERT_EQ(::WaitForSingleObject(thread, 30000), WAIT_OBJECT_0);
  ::CloseHandle(thread);
  EXPECT_NE(threadId, ::GetCurrentThreadId());
  EXPECT_EQ(log.text(), ExpectedLog(threadId).info("from the thread").text());
}

}  // namespace

}  // namespace kx
