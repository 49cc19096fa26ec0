#include "log/log.h"

#include "common/platform.h"
#include "support/environment.h"
#include "support/files.h"
#include "support/foreign_locale.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

// The four variables that place the log, all absent.
struct NoLogVariables {
  ScopedVariable logging{"KORVEX_LOG", std::nullopt};
  ScopedVariable path{"KORVEX_LOGPATH", std::nullopt};
  ScopedVariable drive{"HOMEDRIVE", std::nullopt};
  ScopedVariable home{"HOMEPATH", std::nullopt};
};

// Splits a folder in two, as HOMEDRIVE and HOMEPATH do.
struct HomeFolder {
  explicit HomeFolder(const std::string& folder)
      : drive("HOMEDRIVE", folder.substr(0, 2)), path("HOMEPATH", folder.substr(2)) {}

  ScopedVariable drive;
  ScopedVariable path;
};

TEST(LogEntry, AnInformationCarriesTheIdsBeforeItsMessage) {
  const LogCapture log;

  __loginf("Client: Read %d bytes from communication pipe", 12);

  EXPECT_EQ(log.text(), logPrefix() + "Client: Read 12 bytes from communication pipe\n");
}

TEST(LogEntry, AnErrorCarriesTheIdsBehindItsLineEnd) {
  const LogCapture log;

  __logerr("Could not open temp file %s, error %d", "x", 3);

  EXPECT_EQ(log.text(), "Error: Could not open temp file x, error 3\n" + logPrefix());
}

TEST(LogEntry, TheIdsOfAnErrorStandBeforeTheNextEntryOnItsLine) {
  const LogCapture log;

  __logerr("first");
  __loginf("second");
  __logerr("third");

  EXPECT_EQ(log.text(),
            "Error: first\n" + logPrefix() + logPrefix() + "second\n" + "Error: third\n" + logPrefix());
}

TEST(LogEntry, EntriesAreAppendedToWhatTheFileHolds) {
  const LogCapture log;
  writeFile(log.path(), "before\n");

  __loginf("entry");

  EXPECT_EQ(log.text(), "before\n" + information("entry"));
}

TEST(LogEntry, LineEndsAreNotTranslated) {
  const LogCapture log;

  __loginf("a\nb\r\nc");

  EXPECT_EQ(log.text(), logPrefix() + "a\nb\r\nc\n");
}

TEST(LogEntry, AnEmptyMessageIsAnEntry) {
  const LogCapture log;

  __loginf("%s", "");
  __logerr("%s", "");

  EXPECT_EQ(log.text(), information("") + error(""));
}

TEST(LogEntry, TheFileHoldsALongMessageWhole) {
  const LogCapture log;
  const std::string message(5000, 'm');

  __loginf("%s", message.c_str());
  __logerr("%s.", message.c_str());

  EXPECT_EQ(log.text(), information(message) + error(message + "."));
}

TEST(LogEntry, ATextIsCutAtItsFirstZeroAndAZeroCharacterIsWritten) {
  const LogCapture log;

  __logerr("char %c(%d), chunk '%s'", 0, 0, std::string("ab\0cd", 5).c_str());

  EXPECT_EQ(log.text(), error(std::string("char \0(0), chunk 'ab'", 21)));
}

TEST(LogEntry, NegativeCharactersAreWrittenAsTheirBytes) {
  const LogCapture log;

  __loginf("%c(%d)", static_cast<signed char>(-23), static_cast<signed char>(-23));

  EXPECT_EQ(log.text(), information("\xE9(-23)"));
}

TEST(LogEntry, DoesNotDependOnTheHostsLocale) {
  const LogCapture log;
  const ForeignLocale locale;

  __loginf("%d", 1234567);

  EXPECT_EQ(log.text(), information("1234567"));
}

TEST(LogSwitch, OnAndTrueInAnyCaseSwitchInformationOn) {
  const LogCapture log;
  std::string expected;

  for (const char* value : {"on", "ON", "On", "oN", "true", "True", "TRUE", "tRuE"}) {
    const ScopedVariable logging("KORVEX_LOG", value);
    __loginf("%s", value);
    expected += information(value);
  }

  EXPECT_EQ(log.text(), expected);
}

TEST(LogSwitch, AnyOtherValueLeavesInformationOff) {
  const LogCapture log;

  for (const char* value : {"", "1", "yes", "off", "false", "on ", " on", "one", "o", "tru", "truee"}) {
    const ScopedVariable logging("KORVEX_LOG", value);
    __loginf("%s", value);
  }
  const ScopedVariable absent("KORVEX_LOG", std::nullopt);
  __loginf("absent");

  EXPECT_EQ(fileBytes(log.path()), std::nullopt);
}

TEST(LogSwitch, ErrorsAreWrittenToANamedFileWhateverItSays) {
  const LogCapture log(LogCapture::Switch::Off);

  __loginf("not written");
  __logerr("written");

  EXPECT_EQ(log.text(), error("written"));
}

TEST(LogSwitch, TakesEffectWithTheNextEntry) {
  const LogCapture log;

  __loginf("first");
  {
    const ScopedVariable off("KORVEX_LOG", "off");
    __loginf("second");
  }
  __loginf("third");

  EXPECT_EQ(log.text(), information("first") + information("third"));
}

TEST(LogPath, TakesEffectWithTheNextEntry) {
  const LogCapture log;
  const std::string otherPath = log.path() + "2";

  __loginf("first");
  {
    const ScopedVariable path("KORVEX_LOGPATH", otherPath);
    __loginf("second");
  }
  __loginf("third");

  EXPECT_EQ(log.text(), information("first") + information("third"));
  EXPECT_EQ(fileBytes(otherPath), information("second"));
}

TEST(LogPath, IsTheVariableWheneverItIsNotEmpty) {
  const NoLogVariables none;
  const ScopedVariable path("KORVEX_LOGPATH", "D:\\logs\\kx.log");

  for (const char* value : {"on", "true", "off", ""}) {
    const ScopedVariable logging("KORVEX_LOG", value);
    EXPECT_EQ(logFilePath(), "D:\\logs\\kx.log") << value;
  }
  EXPECT_EQ(logFilePath(), "D:\\logs\\kx.log");
}

TEST(LogPath, IsInTheHomeDirectoryWhenLoggingIsOnWithoutAPath) {
  const NoLogVariables none;
  const ScopedVariable drive("HOMEDRIVE", "D:");
  const ScopedVariable home("HOMEPATH", "\\Users\\alice");

  for (const char* value : {"on", "TRUE"}) {
    const ScopedVariable logging("KORVEX_LOG", value);
    EXPECT_EQ(logFilePath(), "D:\\Users\\alice\\korvex.log");
    const ScopedVariable emptyPath("KORVEX_LOGPATH", "");
    EXPECT_EQ(logFilePath(), "D:\\Users\\alice\\korvex.log");
  }
}

TEST(LogPath, IsEmptyWhenLoggingIsOffWithoutAPath) {
  const NoLogVariables none;
  const ScopedVariable home("HOMEPATH", "\\Users\\alice");

  EXPECT_EQ(logFilePath(), "");
  const ScopedVariable logging("KORVEX_LOG", "off");
  EXPECT_EQ(logFilePath(), "");
  const ScopedVariable emptyPath("KORVEX_LOGPATH", "");
  EXPECT_EQ(logFilePath(), "");
}

TEST(LogPath, BeginsWithDriveCWhenHomepathComesWithoutADrive) {
  const NoLogVariables none;
  const ScopedVariable logging("KORVEX_LOG", "on");
  const ScopedVariable home("HOMEPATH", "\\Users\\alice");

  EXPECT_EQ(logFilePath(), "c:\\Users\\alice\\korvex.log");
}

TEST(LogPath, IsTheRootOfTheDriveWithoutHomepath) {
  const NoLogVariables none;
  const ScopedVariable logging("KORVEX_LOG", "on");

  EXPECT_EQ(logFilePath(), "\\korvex.log");
  const ScopedVariable drive("HOMEDRIVE", "D:");
  EXPECT_EQ(logFilePath(), "\\korvex.log");
}

TEST(LogPath, TheDefaultFileIsWritten) {
  const NoLogVariables none;
  const TestFolder folder;
  const HomeFolder home(folder.path());
  const ScopedVariable logging("KORVEX_LOG", "on");

  __loginf("entry");

  EXPECT_EQ(fileBytes(folder.file("korvex.log")), information("entry"));
}

TEST(LogPath, MayHoldBlanksAndCharactersOutsideAscii) {
  const TestFolder folder(
      "Gr\xC3\xB6\xC3\x9F"
      "e \xE6\x97\xA5");
  const ScopedVariable logging("KORVEX_LOG", "on");
  const ScopedVariable path("KORVEX_LOGPATH", folder.file("kx \xC3\xA9.log"));

  __loginf("entry");

  EXPECT_EQ(fileBytes(folder.file("kx \xC3\xA9.log")), information("entry"));
}

TEST(LogPath, AFileThatCannotBeOpenedIsIgnored) {
  const TestFolder folder;
  const ScopedVariable logging("KORVEX_LOG", "on");
  const ScopedVariable path("KORVEX_LOGPATH", folder.file("missing\\kx.log"));

  __loginf("entry");
  __logerr("entry");

  EXPECT_EQ(fileBytes(folder.file("missing\\kx.log")), std::nullopt);
}

void expectLastErrorKept() {
  platform::setLastErrorNumber(4711);
  __loginf("entry");
  EXPECT_EQ(platform::lastErrorNumber(), 4711U);

  platform::setLastErrorNumber(4712);
  __logerr("entry");
  EXPECT_EQ(platform::lastErrorNumber(), 4712U);
}

TEST(LogLastError, SurvivesAnEntryInAFile) {
  const LogCapture log;

  expectLastErrorKept();

  EXPECT_EQ(log.text(), information("entry") + error("entry"));
}

TEST(LogLastError, SurvivesAFileThatCannotBeOpened) {
  const LogCapture log;
  const ScopedVariable path("KORVEX_LOGPATH", log.path() + "\\missing\\kx.log");

  expectLastErrorKept();
}

TEST(LogLastError, SurvivesWithEveryVariableAbsent) {
  const NoLogVariables none;

  expectLastErrorKept();
}

TEST(LogLastError, SurvivesWithLoggingOff) {
  const LogCapture log(LogCapture::Switch::Off);

  expectLastErrorKept();
}

}  // namespace

}  // namespace kx
