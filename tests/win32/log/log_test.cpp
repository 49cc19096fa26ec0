// The log on Windows: what the tests of the portable part, which run here too, do not see.
#include "log/log.h"

#include "support/win32/debugger_lines.h"
#include "support/win32/log_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>

namespace kx {

namespace {

TEST(Log, TheFileIsFreeBetweenEntries) {
  const LogFile log;
  __loginf("first");
  EXPECT_TRUE(::DeleteFileW(wide(log.path()).c_str()));
}

TEST(Log, TheDebuggerGetsEachEntryWithoutALineEndAndErrorsEvenWhileLoggingIsOff) {
  const LogFile log;
  EnvironmentVariable logSwitch("KORVEX_LOG");
  const DebuggerLines debugger;
  __loginf("information %d", 1);
  logSwitch.set("off");
  __loginf("not heard");
  __logerr("error %s", "two");
  EXPECT_THAT(debugger.lines(), testing::ElementsAre(infoLine("information 1"), errorLine("error two")));
  EXPECT_EQ(log.text(), ExpectedLog().info("information 1").error("error two").text());
}

TEST(Log, EntriesOfAnotherThreadCarryItsId) {
  const LogFile log;
  DWORD threadId = 0;
  std::thread([&] {
    threadId = ::GetCurrentThreadId();
    __loginf("from the thread");
  }).join();
  EXPECT_NE(threadId, ::GetCurrentThreadId());
  EXPECT_EQ(log.text(), ExpectedLog(threadId).info("from the thread").text());
}

}  // namespace

}  // namespace kx
