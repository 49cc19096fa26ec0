// What the log asks of the system: the debugger's lines, the way the file is opened, ids that no process of
// ours has, and the lack of memory. The native platform shows and sets all of it.

#include "log/log.h"
#include "support/environment.h"
#include "support/log_capture.h"
#include "support/native/test_platform.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

using test_platform::DebuggerCapture;
using test_platform::FileWatch;
using test_platform::NoMemoryForVariable;
using test_platform::OpenedFile;
using test_platform::ScopedIds;
using Lines = std::vector<std::string>;

TEST(LogDebugger, EachEntryIsOneLineWithoutALineEnd) {
  const LogCapture log;
  const ScopedIds ids(12, 345);
  const DebuggerCapture debugger;

  __loginf("value %d", 1);
  __logerr("value %s", "x");

  EXPECT_EQ(debugger.lines(),
            (Lines{"__loginf from (12, 345): value 1", "__logerr from (12, 345): value x"}));
  EXPECT_EQ(log.text(), "(12, 345): value 1\nError: value x\n(12, 345): ");
}

TEST(LogDebugger, IdsAreSignedNumbers) {
  const LogCapture log;
  const ScopedIds ids(0xFFFFFFFFU, 0x80000000U);
  const DebuggerCapture debugger;

  __loginf("a");
  __logerr("b");

  EXPECT_EQ(debugger.lines(),
            (Lines{"__loginf from (-1, -2147483648): a", "__logerr from (-1, -2147483648): b"}));
  EXPECT_EQ(log.text(), "(-1, -2147483648): a\nError: b\n(-1, -2147483648): ");
}

TEST(LogDebugger, ALineIsCutAt4095Characters) {
  const LogCapture log;
  const ScopedIds ids(1, 2);
  const DebuggerCapture debugger;
  const std::string message(5000, 'm');

  __loginf("%s", message.c_str());
  __logerr("%s", message.c_str());

  const std::string prefix = "__loginf from (1, 2): ";
  const std::string errorPrefix = "__logerr from (1, 2): ";
  EXPECT_EQ(debugger.lines(), (Lines{prefix + std::string(4095 - prefix.size(), 'm'),
                                     errorPrefix + std::string(4095 - errorPrefix.size(), 'm')}));
  EXPECT_EQ(log.text(), "(1, 2): " + message + "\nError: " + message + "\n(1, 2): ");
}

TEST(LogFile, HoldsAMessageOfAnyLengthWhole) {
  const ScopedIds ids(1, 2);
  for (const std::size_t length : {0U, 1U, 4094U, 4095U, 4096U, 4097U}) {
    const LogCapture log;
    const std::string message(length, 'm');

    __loginf("%s", message.c_str());

    EXPECT_EQ(log.text(), "(1, 2): " + message + "\n") << length;
  }
}

TEST(LogDebugger, ALineOf4095CharactersIsWhole) {
  const LogCapture log;
  const ScopedIds ids(1, 2);
  const DebuggerCapture debugger;
  const std::string prefix = "__logerr from (1, 2): ";
  const std::string message(4095 - prefix.size() - 1, 'm');

  __logerr("%sx", message.c_str());
  __logerr("%sxy", message.c_str());

  EXPECT_EQ(debugger.lines(), (Lines{prefix + message + "x", prefix + message + "x"}));
}

TEST(LogDebugger, AZeroCharacterEndsTheLine) {
  const LogCapture log;
  const ScopedIds ids(1, 2);
  const DebuggerCapture debugger;

  __logerr("char %c(%d)", 0, 0);

  EXPECT_EQ(debugger.lines(), (Lines{"__logerr from (1, 2): char "}));
  EXPECT_EQ(log.text(), std::string("Error: char \0(0)\n(1, 2): ", 25));
}

TEST(LogDebugger, HearsOfErrorsOnlyWhenLoggingIsOff) {
  const LogCapture log(LogCapture::Switch::Off);
  const ScopedIds ids(1, 2);
  const DebuggerCapture debugger;

  __loginf("information");
  __logerr("error");

  EXPECT_EQ(debugger.lines(), (Lines{"__logerr from (1, 2): error"}));
}

TEST(LogDebugger, HearsOfAnEntryWhoseFileCannotBeOpened) {
  const LogCapture log;
  const ScopedIds ids(1, 2);
  const DebuggerCapture debugger;
  const FileWatch files(5);

  __loginf("a");
  __logerr("b");

  EXPECT_EQ(debugger.lines(), (Lines{"__loginf from (1, 2): a", "__logerr from (1, 2): b"}));
  EXPECT_EQ(files.opened(), (std::vector<OpenedFile>{{log.path(), "ab"}, {log.path(), "ab"}}));
}

TEST(LogFile, IsOpenedForAppendingOnceForEachEntry) {
  const LogCapture log;
  const FileWatch files;

  __loginf("a");
  __logerr("b");

  EXPECT_EQ(files.opened(), (std::vector<OpenedFile>{{log.path(), "ab"}, {log.path(), "ab"}}));
}

TEST(LogFile, IsNotTouchedByInformationWhenLoggingIsOff) {
  const LogCapture log(LogCapture::Switch::Off);
  const FileWatch files;

  __loginf("a");

  EXPECT_EQ(files.opened(), std::vector<OpenedFile>());
}

TEST(LogMemory, WithoutMemoryForThePathOnlyTheDebuggerHearsOfTheEntry) {
  const LogCapture log;
  const ScopedIds ids(1, 2);
  const DebuggerCapture debugger;
  const NoMemoryForVariable noMemory("KORVEX_LOGPATH");

  __loginf("a");
  __logerr("b");

  EXPECT_EQ(debugger.lines(), (Lines{"__loginf from (1, 2): a", "__logerr from (1, 2): b"}));
  EXPECT_EQ(log.text(), "");
}

TEST(LogMemory, WithoutMemoryForTheSwitchInformationIsOff) {
  const LogCapture log;
  const ScopedIds ids(1, 2);
  const DebuggerCapture debugger;
  const NoMemoryForVariable noMemory("KORVEX_LOG");

  __loginf("a");
  __logerr("b");

  EXPECT_EQ(debugger.lines(), (Lines{"__logerr from (1, 2): b"}));
  EXPECT_EQ(log.text(), "Error: b\n(1, 2): ");
}

}  // namespace

}  // namespace kx
