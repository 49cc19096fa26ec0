#include "pipe/start_page.h"

#include "common/platform.h"
#include "support/environment.h"
#include "support/files.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

constexpr char kPage[] = "<html><body></body></html>";

struct StartPage : testing::Test {
  LogCapture log;
  TestFolder folder{
      "mein Gr\xC3\xB6\xC3\x9F"
      "e"};
  EnvironmentVariable temp{"TEMP", folder.path()};
};

TEST_F(StartPage, TheStartPageIsWrittenToTheTempFolderAndNamesThePipe) {
  EXPECT_EQ(startPageUrl("0123abcd", "\\\\.\\pipe\\p.runner", nullptr),
            "file://" + folder.path() + "\\0123abcd.html?pipe=\\\\.\\pipe\\p.runner");
  EXPECT_EQ(fileBytes(folder.file("0123abcd.html")), kPage);
  EXPECT_EQ(startPageUrl("stem", "", nullptr), "file://" + folder.path() + "\\stem.html?pipe=");
  EXPECT_EQ(log.text(), "");
}

TEST_F(StartPage, AnEmptyPageOfTheHostIsNone) {
  EXPECT_EQ(startPageUrl("stem", "p", ""), startPageUrl("stem", "p", nullptr));
  EXPECT_EQ(fileBytes(folder.file("stem.html")), kPage);
}

TEST_F(StartPage, APageOfTheHostIsTakenAsItIsAndNothingIsWritten) {
  EXPECT_EQ(startPageUrl("stem", "work", "C:\\start.html"), "file://C:\\start.html?pipe=work");
  EXPECT_EQ(startPageUrl("stem", "", "x"), "file://x?pipe=");
  EXPECT_EQ(startPageUrl("stem", "p", "file://x"), "file://file://x?pipe=p");
  EXPECT_EQ(startPageUrl("stem", "a b\\&%\"?#\xC3\xA9", "C:\\a b\\&%?#\xC3\xA9.html"),
            "file://C:\\a b\\&%?#\xC3\xA9.html?pipe=a b\\&%\"?#\xC3\xA9");
  EXPECT_EQ(fileBytes(folder.file("stem.html")), std::nullopt);
}

TEST_F(StartPage, TheStartPageIsRewrittenEachTime) {
  writeFile(folder.file("stem.html"), "a longer page that somebody else has left behind here");

  startPageUrl("stem", "p", nullptr);

  EXPECT_EQ(fileBytes(folder.file("stem.html")), kPage);
}

TEST_F(StartPage, AStartPageThatCannotBeWrittenGivesNothingAndOneErrorInTheLog) {
  const EnvironmentVariable missing("TEMP", folder.file("missing"));

  EXPECT_EQ(startPageUrl("stem", "p", nullptr), "");
  EXPECT_EQ(log.text(), error("Could not open temp file " + folder.file("missing") + "\\stem.html, error 3"));
}

TEST_F(StartPage, WithoutATempFolderNothingIsWrittenAnywhereAndAPageOfTheHostStillServes) {
  const EnvironmentVariable none("TEMP", std::nullopt);

  EXPECT_EQ(startPageUrl("stem", "p", nullptr), "");
  EXPECT_EQ(platform::lastErrorNumber(), 203U);
  EXPECT_EQ(log.text(), error("Could not open temp file \\stem.html, error 203"));
  EXPECT_EQ(startPageUrl("stem", "p", "C:\\start.html"), "file://C:\\start.html?pipe=p");
}

TEST(StartPagePath, ThePathIsTheTempFolderABackslashTheStemAndTheSuffix) {
  for (const std::optional<std::string>& folder :
       {std::optional<std::string>("C:\\Temp"), {""}, {std::nullopt}}) {
    const EnvironmentVariable temp("TEMP", folder);
    EXPECT_EQ(startPagePath("0123"), folder.value_or("") + "\\0123.html");
  }
}

}  // namespace

}  // namespace kx
