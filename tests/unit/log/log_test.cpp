#include "log/log.h"

#include "common/platform.h"
#include "support/environment.h"
#include "support/files.h"
#include "support/foreign_locale.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

// The four variables that place the log, all absent unless a test gives them.
struct LogVariables {
  std::optional<std::string> logging = std::nullopt;
  std::optional<std::string> path = std::nullopt;
  std::optional<std::string> drive = std::nullopt;
  std::optional<std::string> home = std::nullopt;
};

struct ScopedLogVariables {
  explicit ScopedLogVariables(const LogVariables& given = {})
      : logging("KORVEX_LOG", given.logging),
        path("KORVEX_LOGPATH", given.path),
        drive("HOMEDRIVE", given.drive),
        home("HOMEPATH", given.home) {}

  EnvironmentVariable logging;
  EnvironmentVariable path;
  EnvironmentVariable drive;
  EnvironmentVariable home;
};

struct LogEntry : testing::Test {
  LogCapture log;
};

TEST_F(LogEntry, AnInformationCarriesTheIdsBeforeItsMessageAndAnErrorBehindItsLineEnd) {
  __logerr("Could not open temp file %s, error %d", "x", 3);
  __loginf("Client: Read %d bytes from communication pipe", 12);
  __logerr("third");

  // The ids of an error stand before the next entry on its line.
  EXPECT_EQ(log.text(), "Error: Could not open temp file x, error 3\n" + logPrefix() + logPrefix() +
                            "Client: Read 12 bytes from communication pipe\nError: third\n" + logPrefix());
}

TEST_F(LogEntry, AnEntryIsAppendedToWhatTheFileHolds) {
  writeFile(log.path(), "before\n");

  __loginf("entry");

  EXPECT_EQ(log.text(), "before\n" + information("entry"));
}

TEST_F(LogEntry, AnEntryHoldsAnyMessageAsItIs) {
  const std::string longOne(5000, 'm');
  const ForeignLocale locale;

  __loginf("a\nb\r\nc");
  __loginf("%s", "");
  __logerr("%s", "");
  __loginf("%s", longOne.c_str());
  __logerr("%s.", longOne.c_str());
  // A text is cut at its first zero, and a zero character is written.
  __logerr("char %c(%d), chunk '%s'", 0, 0, std::string("ab\0cd", 5).c_str());
  __loginf("%c(%d)", static_cast<signed char>(-23), static_cast<signed char>(-23));
  // Numbers do not depend on the host's locale.
  __loginf("%d", 1234567);

  EXPECT_EQ(log.text(), information("a\nb\r\nc") + information("") + error("") + information(longOne) +
                            error(longOne + ".") + error(std::string("char \0(0), chunk 'ab'", 21)) +
                            information("\xE9(-23)") + information("1234567"));
}

TEST_F(LogEntry, OnAndTrueInAnyCaseSwitchInformationOnAndAnyOtherValueOff) {
  std::string expected;
  for (const char* value : {"on", "ON", "On", "oN", "true", "True", "TRUE", "tRuE"}) {
    const EnvironmentVariable logging("KORVEX_LOG", value);
    __loginf("%s", value);
    expected += information(value);
  }
  for (const char* value : {"", "1", "yes", "off", "false", "on ", " on", "one", "o", "tru", "truee"}) {
    const EnvironmentVariable logging("KORVEX_LOG", value);
    __loginf("%s", value);
  }
  const EnvironmentVariable absent("KORVEX_LOG", std::nullopt);
  __loginf("absent");
  // Errors are written to a named file whatever the switch says.
  __logerr("written");

  EXPECT_EQ(log.text(), expected + error("written"));
}

TEST_F(LogEntry, SwitchAndPathTakeEffectWithTheNextEntry) {
  const std::string otherPath = log.path() + "2";

  __loginf("first");
  {
    const EnvironmentVariable off("KORVEX_LOG", "off");
    __loginf("second");
  }
  {
    const EnvironmentVariable path("KORVEX_LOGPATH", otherPath);
    __loginf("third");
  }
  __loginf("fourth");

  EXPECT_EQ(log.text(), information("first") + information("fourth"));
  EXPECT_EQ(fileBytes(otherPath), information("third"));
}

TEST(LogPath, ThePathIsTheVariableElseWhenLoggingIsOnInTheHomeDirectoryElseEmpty) {
  const std::string home = "\\Users\\alice";
  const std::string named = "D:\\logs\\kx.log";
  const std::pair<LogVariables, std::string> cases[] = {
      {{"on", named}, named},
      {{"off", named}, named},
      {{"", named}, named},
      {{std::nullopt, named}, named},
      {{"on", std::nullopt, "D:", home}, "D:\\Users\\alice\\korvex.log"},
      {{"TRUE", "", "D:", home}, "D:\\Users\\alice\\korvex.log"},
      {{std::nullopt, std::nullopt, std::nullopt, home}, ""},
      {{"off", std::nullopt, std::nullopt, home}, ""},
      {{"off", "", std::nullopt, home}, ""},
      {{"on", std::nullopt, std::nullopt, home}, "c:\\Users\\alice\\korvex.log"},
      {{"on"}, "\\korvex.log"},
      {{"on", std::nullopt, "D:"}, "\\korvex.log"},
  };
  for (const auto& [given, expected] : cases) {
    const ScopedLogVariables variables(given);
    EXPECT_EQ(logFilePath(), expected);
  }
}

TEST(LogPath, TheDefaultFileIsWritten) {
  const TestFolder folder;
  const ScopedLogVariables variables(
      {"on", std::nullopt, folder.path().substr(0, 2), folder.path().substr(2)});

  __loginf("entry");

  EXPECT_EQ(fileBytes(folder.file("korvex.log")), information("entry"));
}

TEST(LogPath, ThePathMayHoldBlanksAndCharactersOutsideAscii) {
  const TestFolder folder("Gr\xC3\xB6\xC3\x9F" + std::string("e \xE6\x97\xA5"));
  const ScopedLogVariables variables({"on", folder.file("kx \xC3\xA9.log")});

  __loginf("entry");

  EXPECT_EQ(fileBytes(folder.file("kx \xC3\xA9.log")), information("entry"));
}

TEST(LogLastError, TheLastErrorSurvivesEntriesWhateverBecomesOfThem) {
  const TestFolder folder;
  const LogVariables cases[] = {{"on", folder.file("kx.log")},
                                {"off", folder.file("off.log")},
                                {"on", folder.file("missing\\kx.log")},
                                {}};
  for (const LogVariables& given : cases) {
    const ScopedLogVariables variables(given);
    platform::setLastErrorNumber(4711);
    __loginf("entry");
    EXPECT_EQ(platform::lastErrorNumber(), 4711U);
    platform::setLastErrorNumber(4712);
    __logerr("entry");
    EXPECT_EQ(platform::lastErrorNumber(), 4712U);
  }
  EXPECT_EQ(fileBytes(folder.file("kx.log")), information("entry") + error("entry"));
  EXPECT_EQ(fileBytes(folder.file("off.log")), error("entry"));
  EXPECT_EQ(fileBytes(folder.file("missing\\kx.log")), std::nullopt);
}

}  // namespace

}  // namespace kx
