// What the log asks of the system: the debugger's lines, the way the file is opened, ids that no process of
// ours has, and the lack of memory. The native platform shows and sets all of it.

#include "log/log.h"
#include "support/environment.h"
#include "support/log_capture.h"
#include "support/native/test_platform.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

using test_platform::FileWatch;
using test_platform::NoMemoryForVariable;
using test_platform::OpenedFile;
using test_platform::ScopedIds;
using Lines = std::vector<std::string>;

const std::string kInformation = "__loginf from (1, 2): ";
const std::string kError = "__logerr from (1, 2): ";

struct LogPlatform : testing::Test {
  LogCapture log;
  ScopedIds ids{1, 2};
  test_platform::DebuggerCapture debugger;
};

TEST_F(LogPlatform, EachEntryIsOneLineOfTheDebuggerWithoutALineEndAndIdsAreSignedNumbers) {
  __loginf("value %d", 1);
  __logerr("value %s", "x");
  // A zero character ends the line.
  __logerr("char %c(%d)", 0, 0);
  const ScopedIds large(0xFFFFFFFFU, 0x80000000U);
  __loginf("a");

  EXPECT_EQ(debugger.lines(), (Lines{kInformation + "value 1", kError + "value x", kError + "char ",
                                     "__loginf from (-1, -2147483648): a"}));
  const std::string written =
      "(1, 2): value 1\nError: value x\n(1, 2): Error: char #(0)\n(1, 2): (-1, -2147483648): a\n";
  std::string text = log.text();
  std::replace(text.begin(), text.end(), '\0', '#');
  EXPECT_EQ(text, written);
}

TEST_F(LogPlatform, ALineOfTheDebuggerIsCutAt4095Characters) {
  for (const std::size_t tooMany : {0U, 1U, 1000U}) {
    const std::string whole = kError + std::string(4095 - kError.size(), 'm');
    __logerr("%s", (whole.substr(kError.size()) + std::string(tooMany, 'm')).c_str());
    __loginf("%s", (whole.substr(kError.size()) + std::string(tooMany, 'm')).c_str());
    EXPECT_EQ(debugger.lines().at(debugger.lines().size() - 2), whole);
    EXPECT_EQ(debugger.lines().back().size(), 4095U);
  }
}

TEST_F(LogPlatform, TheFileHoldsAMessageOfAnyLengthWhole) {
  for (const std::size_t length : {0U, 1U, 4094U, 4095U, 4096U, 4097U, 5000U}) {
    const LogCapture another;
    const std::string message(length, 'm');

    __loginf("%s", message.c_str());
    __logerr("%s", message.c_str());

    EXPECT_EQ(another.text(), "(1, 2): " + message + "\nError: " + message + "\n(1, 2): ") << length;
  }
}

TEST_F(LogPlatform, TheFileIsOpenedForAppendingOnceForEachEntryAndTheDebuggerHearsOfOneThatCannotBe) {
  for (const std::uint32_t failure : {0U, 5U}) {
    const FileWatch files(failure);

    __loginf("a");
    __logerr("b");

    EXPECT_EQ(files.opened(), (std::vector<OpenedFile>{{log.path(), "ab"}, {log.path(), "ab"}}));
  }
  EXPECT_EQ(debugger.lines(), (Lines{kInformation + "a", kError + "b", kInformation + "a", kError + "b"}));
}

TEST_F(LogPlatform, WhenLoggingIsOffOnlyErrorsAreHeardOfAndTouchTheFile) {
  const EnvironmentVariable off("KORVEX_LOG", "off");
  const FileWatch files;

  __loginf("a");
  EXPECT_EQ(files.opened(), std::vector<OpenedFile>());
  __logerr("b");

  EXPECT_EQ(debugger.lines(), (Lines{kError + "b"}));
}

TEST_F(LogPlatform, WithoutMemoryForThePathOnlyTheDebuggerHearsOfTheEntry) {
  const NoMemoryForVariable noMemory("KORVEX_LOGPATH");

  __loginf("a");
  __logerr("b");

  EXPECT_EQ(debugger.lines(), (Lines{kInformation + "a", kError + "b"}));
  EXPECT_EQ(log.text(), "");
}

TEST_F(LogPlatform, WithoutMemoryForTheSwitchInformationIsOff) {
  const NoMemoryForVariable noMemory("KORVEX_LOG");

  __loginf("a");
  __logerr("b");

  EXPECT_EQ(debugger.lines(), (Lines{kError + "b"}));
  EXPECT_EQ(log.text(), "Error: b\n(1, 2): ");
}

}  // namespace

}  // namespace kx
