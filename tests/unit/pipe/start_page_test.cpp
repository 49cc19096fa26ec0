#include "pipe/start_page.h"

#include "common/platform.h"
#include "support/environment.h"
#include "support/files.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

constexpr char kPage[] = "<html><body></body></html>";

TEST(StartPage, IsWrittenToTheTempFolderAndNamesThePipe) {
  const LogCapture log;
  const TestFolder folder;
  const ScopedVariable temp("TEMP", folder.path());

  const std::string url = startPageUrl("0123abcd", "\\\\.\\pipe\\p.runner", nullptr);

  EXPECT_EQ(url, "file://" + folder.path() + "\\0123abcd.html?pipe=\\\\.\\pipe\\p.runner");
  EXPECT_EQ(fileBytes(folder.file("0123abcd.html")), kPage);
  EXPECT_EQ(log.text(), "");
}

TEST(StartPage, AnEmptyPageOfTheHostIsNone) {
  const TestFolder folder;
  const ScopedVariable temp("TEMP", folder.path());

  EXPECT_EQ(startPageUrl("stem", "p", ""), startPageUrl("stem", "p", nullptr));
  EXPECT_EQ(fileBytes(folder.file("stem.html")), kPage);
}

TEST(StartPage, APageOfTheHostIsTakenAsItIsAndNothingIsWritten) {
  const TestFolder folder;
  const ScopedVariable temp("TEMP", folder.path());

  EXPECT_EQ(startPageUrl("stem", "work", "C:\\start.html"), "file://C:\\start.html?pipe=work");
  EXPECT_EQ(startPageUrl("stem", "", "x"), "file://x?pipe=");
  EXPECT_EQ(startPageUrl("stem", "p", "file://x"), "file://file://x?pipe=p");
  EXPECT_EQ(fileBytes(folder.file("stem.html")), std::nullopt);
}

TEST(StartPage, NothingIsEscaped) {
  EXPECT_EQ(startPageUrl("stem", "a b\\&%\"?#\xC3\xA9", "C:\\a b\\&%?#\xC3\xA9.html"),
            "file://C:\\a b\\&%?#\xC3\xA9.html?pipe=a b\\&%\"?#\xC3\xA9");
}

TEST(StartPage, AnEmptyPipeEndsTheLocationBehindTheEqualsSign) {
  const TestFolder folder;
  const ScopedVariable temp("TEMP", folder.path());

  EXPECT_EQ(startPageUrl("stem", "", nullptr), "file://" + folder.path() + "\\stem.html?pipe=");
}

TEST(StartPage, IsRewrittenEachTime) {
  const TestFolder folder;
  const ScopedVariable temp("TEMP", folder.path());
  writeFile(folder.file("stem.html"), "a longer page that somebody else has left behind here");

  startPageUrl("stem", "p", nullptr);

  EXPECT_EQ(fileBytes(folder.file("stem.html")), kPage);
}

TEST(StartPage, TheTempFolderMayHoldBlanksAndCharactersOutsideAscii) {
  const TestFolder folder(
      "mein Gr\xC3\xB6\xC3\x9F"
      "e");
  const ScopedVariable temp("TEMP", folder.path());

  EXPECT_EQ(startPageUrl("stem", "p", nullptr), "file://" + folder.path() + "\\stem.html?pipe=p");
  EXPECT_EQ(fileBytes(folder.file("stem.html")), kPage);
}

TEST(StartPage, ThatCannotBeWrittenGivesNothingAndOneErrorInTheLog) {
  const LogCapture log;
  const TestFolder folder;
  const ScopedVariable temp("TEMP", folder.file("missing"));

  EXPECT_EQ(startPageUrl("stem", "p", nullptr), "");
  EXPECT_EQ(log.text(), error("Could not open temp file " + folder.file("missing") + "\\stem.html, error 3"));
}

TEST(StartPage, WithoutATempFolderNothingIsWrittenAnywhere) {
  const LogCapture log;
  const ScopedVariable temp("TEMP", std::nullopt);

  EXPECT_EQ(startPageUrl("stem", "p", nullptr), "");
  EXPECT_EQ(platform::lastErrorNumber(), 203U);
  EXPECT_EQ(log.text(), error("Could not open temp file \\stem.html, error 203"));
}

TEST(StartPage, WithoutATempFolderAPageOfTheHostStillServes) {
  const ScopedVariable temp("TEMP", std::nullopt);

  EXPECT_EQ(startPageUrl("stem", "p", "C:\\start.html"), "file://C:\\start.html?pipe=p");
}

TEST(StartPagePath, IsTheTempFolderABackslashTheStemAndTheSuffix) {
  {
    const ScopedVariable temp("TEMP", "C:\\Users\\alice\\AppData\\Local\\Temp");
    EXPECT_EQ(startPagePath("0123"), "C:\\Users\\alice\\AppData\\Local\\Temp\\0123.html");
  }
  {
    const ScopedVariable temp("TEMP", "");
    EXPECT_EQ(startPagePath("0123"), "\\0123.html");
  }
  const ScopedVariable temp("TEMP", std::nullopt);
  EXPECT_EQ(startPagePath("0123"), "\\0123.html");
}

}  // namespace

}  // namespace kx
