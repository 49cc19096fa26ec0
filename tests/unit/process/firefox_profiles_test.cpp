#include "process/firefox_profiles.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

constexpr char kRoaming[] = "C:\\Roaming";

std::string errorTimes(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    text += error("parseFxProfilesFile error");
  }
  return text;
}

TEST(FirefoxProfiles, SectionsHoldTheirKeysAndValues) {
  const LogCapture log;

  EXPECT_EQ(
      parseFirefoxProfiles("[General]\nStartWithLastProfile=1\n\n[Profile0]\nName=default\nIsRelative=1\n"),
      (FirefoxProfileList{{"General", {{"StartWithLastProfile", "1"}}},
                          {"Profile0", {{"Name", "default"}, {"IsRelative", "1"}}}}));
  EXPECT_EQ(log.text(), "");
}

TEST(FirefoxProfiles, AnEmptyFileHasNoSections) {
  EXPECT_EQ(parseFirefoxProfiles(""), FirefoxProfileList());
}

TEST(FirefoxProfiles, CarriageReturnsAreIgnoredWhereverTheyStand) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\r\nName=x\r\n\r\n[B]\r\nName=y\r\n"),
            parseFirefoxProfiles("[A]\nName=x\n\n[B]\nName=y\n"));
  EXPECT_EQ(parseFirefoxProfiles("\r[\rA\r]\r\nN\ra\rme\r=\rx\ry\r\n"),
            (FirefoxProfileList{{"A", {{"Name", "xy"}}}}));
}

TEST(FirefoxProfiles, KeysBeforeTheFirstHeaderBelongToTheSectionWithoutAName) {
  EXPECT_EQ(parseFirefoxProfiles("Name=x\n[A]\nName=y\n"),
            (FirefoxProfileList{{"", {{"Name", "x"}}}, {"A", {{"Name", "y"}}}}));
}

TEST(FirefoxProfiles, AHeaderAloneMakesAnEmptySection) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\n[B]"), (FirefoxProfileList{{"A", {}}, {"B", {}}}));
  EXPECT_EQ(parseFirefoxProfiles("[]"), (FirefoxProfileList{{"", {}}}));
}

TEST(FirefoxProfiles, AHeaderThatIsNotClosedMakesNoSection) {
  EXPECT_EQ(parseFirefoxProfiles("[A\nName=x\n"), FirefoxProfileList());
}

TEST(FirefoxProfiles, ASectionNameMayHoldLineFeedsAndBrackets) {
  EXPECT_EQ(parseFirefoxProfiles("[A\n[b=c]\n"), (FirefoxProfileList{{"A\n[b=c", {}}}));
}

TEST(FirefoxProfiles, ASectionThatOccursTwiceLosesItsFirstKeys) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\nName=x\nPath=p\n[B]\n[A]\nName=y\n"),
            (FirefoxProfileList{{"A", {{"Name", "y"}}}, {"B", {}}}));
}

TEST(FirefoxProfiles, AKeyThatOccursTwiceKeepsItsLastValue) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\nName=x\nName=y\n"), (FirefoxProfileList{{"A", {{"Name", "y"}}}}));
}

TEST(FirefoxProfiles, BlanksAroundTheEqualsSignBelongToKeyAndValue) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\nName = dev\n"), (FirefoxProfileList{{"A", {{"Name ", " dev"}}}}));
}

TEST(FirefoxProfiles, AKeyRunsOnOverLineEndsToItsEqualsSign) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\nkey\nName=x\n"), (FirefoxProfileList{{"A", {{"key\nName", "x"}}}}));
}

TEST(FirefoxProfiles, AValueRunsToTheLineEndWhateverItHolds) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\nPath= a=b [c] ; \xFF\t\n"),
            (FirefoxProfileList{{"A", {{"Path", " a=b [c] ; \xFF\t"}}}}));
  EXPECT_EQ(parseFirefoxProfiles("[A]\nPath=\nName=x\n"),
            (FirefoxProfileList{{"A", {{"Path", ""}, {"Name", "x"}}}}));
}

TEST(FirefoxProfiles, AValueWithoutItsLineEndIsNotStoredAndTheKeyKeepsItsOwnText) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\nPath=x"), (FirefoxProfileList{{"A", {{"Path", "Path"}}}}));
  EXPECT_EQ(parseFirefoxProfiles("[A]\nPath="), (FirefoxProfileList{{"A", {{"Path", "Path"}}}}));
}

TEST(FirefoxProfiles, AKeyWithoutItsEqualsSignIsNotStored) {
  EXPECT_EQ(parseFirefoxProfiles("[A]\nPath"), (FirefoxProfileList{{"A", {}}}));
}

TEST(FirefoxProfiles, BlanksAtALineStartAreSkipped) {
  const LogCapture log;

  EXPECT_EQ(parseFirefoxProfiles(" \t\v\f\n  [A]\n \n\tName=x\n"),
            (FirefoxProfileList{{"A", {{"Name", "x"}}}}));
  EXPECT_EQ(log.text(), "");
}

TEST(FirefoxProfiles, AKeyBeginsWithALetterOfEitherCase) {
  EXPECT_EQ(parseFirefoxProfiles("a=1\nz=2\nA=3\nZ=4\n"),
            (FirefoxProfileList{{"", {{"a", "1"}, {"z", "2"}, {"A", "3"}, {"Z", "4"}}}}));
}

TEST(FirefoxProfiles, AnotherByteAtALineStartIsDroppedSilentlyAndWhatFollowsIsLoggedByteByByte) {
  const LogCapture log;

  EXPECT_EQ(parseFirefoxProfiles("1ab\nName=x\n"), (FirefoxProfileList{{"", {{"Name", "x"}}}}));
  EXPECT_EQ(log.text(), errorTimes(2));
}

TEST(FirefoxProfiles, WhatFollowsAHeaderOnItsLineIsDroppedAndLogged) {
  const LogCapture log;

  EXPECT_EQ(parseFirefoxProfiles("[A]x=[\nName=y\n"), (FirefoxProfileList{{"A", {{"Name", "y"}}}}));
  EXPECT_EQ(log.text(), errorTimes(3));
}

TEST(FirefoxProfiles, ABlankBehindAHeaderStartsALineOfItsOwn) {
  const LogCapture log;

  EXPECT_EQ(parseFirefoxProfiles("[A] Name=y\n"), (FirefoxProfileList{{"A", {{"Name", "y"}}}}));
  EXPECT_EQ(log.text(), "");
}

TEST(FirefoxProfiles, ThereAreNoCommentsAWordBehindABlankStartsAKey) {
  const LogCapture log;

  EXPECT_EQ(parseFirefoxProfiles("[A]\n;ab cd=x\n#ef\nName=y\n"),
            (FirefoxProfileList{{"A", {{"cd", "x"}, {"Name", "y"}}}}));
  EXPECT_EQ(log.text(), errorTimes(4));
}

TEST(FirefoxProfiles, BytesFrom128UpAreNeitherLettersNorBlanks) {
  const LogCapture log;

  // 0xC4 is a letter and 0xA0 a blank in some locales.
  EXPECT_EQ(parseFirefoxProfiles("\xC4x=1\nName=y\n"), (FirefoxProfileList{{"", {{"Name", "y"}}}}));
  EXPECT_EQ(parseFirefoxProfiles("1\xA0Key=1\nName=y\n"), (FirefoxProfileList{{"", {{"Name", "y"}}}}));
  EXPECT_EQ(log.text(), errorTimes(3) + errorTimes(6));
}

TEST(FirefoxProfiles, AZeroByteIsAByteLikeAnyOther) {
  EXPECT_EQ(parseFirefoxProfiles(std::string_view("[A]\nPath=a\0b\n", 13)),
            (FirefoxProfileList{{"A", {{"Path", std::string("a\0b", 3)}}}}));
}

TEST(FirefoxProfiles, TheParserTellsWhatItHasReadSoFar) {
  FirefoxProfilesParser parser;
  for (const char byte : std::string("[A]\nName=x\nPath=p")) {
    parser.feed(byte);
  }

  EXPECT_EQ(parser.profiles(), (FirefoxProfileList{{"A", {{"Name", "x"}, {"Path", "Path"}}}}));
}

TEST(FirefoxProfiles, AMissingKeyHasAnEmptyValue) {
  EXPECT_EQ(valueOf({{"Name", "x"}}, "Name"), "x");
  EXPECT_EQ(valueOf({{"Name", "x"}}, "name"), "");
}

std::optional<std::string> startProfile(std::string_view profilesIni) {
  return startProfileName(parseFirefoxProfiles(profilesIni));
}

TEST(StartProfile, IsTheNameOfTheDefaultSection) {
  EXPECT_EQ(startProfile(
                "[General]\nStartWithLastProfile=1\n[Profile0]\nName=a\n[Profile1]\nDefault=1\nName=dev\n"),
            "dev");
}

TEST(StartProfile, IsNoneWithoutProfilesOrWithoutADefault) {
  EXPECT_EQ(startProfile(""), std::nullopt);
  EXPECT_EQ(startProfile("[General]\nStartWithLastProfile=1\n[Profile0]\nName=a\n"), std::nullopt);
}

TEST(StartProfile, IsNoneWhenFirefoxAsks) {
  EXPECT_EQ(startProfile("[General]\nStartWithLastProfile=0\n[Profile0]\nName=a\nDefault=1\n"), std::nullopt);
}

TEST(StartProfile, FirefoxAsksOnlyWhenTheValueIsExactlyZero) {
  for (const char* value : {"", "00", " 0", "0 ", "1", "2", "false"}) {
    SCOPED_TRACE(value);
    const std::string general = std::string("[General]\nStartWithLastProfile=") + value + "\n";
    EXPECT_EQ(startProfile(general + "[Profile0]\nName=a\nDefault=1\n"), "a");
  }
  EXPECT_EQ(startProfile("[General]\nVersion=2\n[Profile0]\nName=a\nDefault=1\n"), "a");
}

TEST(StartProfile, TheSwitchCountsInTheGeneralSectionOnly) {
  EXPECT_EQ(startProfile("[general]\nStartWithLastProfile=0\n[Profile0]\nName=a\nDefault=1\n"), "a");
  EXPECT_EQ(startProfile("[Extra]\nStartWithLastProfile=0\n[Profile0]\nName=a\nDefault=1\n"), "a");
}

TEST(StartProfile, IsNeverTheGeneralSection) {
  EXPECT_EQ(startProfile("[General]\nStartWithLastProfile=1\nDefault=1\nName=g\n"), std::nullopt);
  EXPECT_EQ(startProfile("[General]\nDefault=1\nName=g\n[Profile0]\nName=a\nDefault=1\n"), "a");
}

TEST(StartProfile, ASectionThatSortsBeforeGeneralIsChosenBeforeFirefoxIsAsked) {
  EXPECT_EQ(startProfile("[General]\nStartWithLastProfile=0\n[Alpha]\nName=first\nDefault=1\n"), "first");
  EXPECT_EQ(startProfile("[General]\nStartWithLastProfile=0\n[Genera]\nName=first\nDefault=1\n"), "first");
  EXPECT_EQ(startProfile("[General]\nStartWithLastProfile=0\n[General0]\nName=later\nDefault=1\n"),
            std::nullopt);
}

TEST(StartProfile, TheFirstDefaultInTheOrderOfSectionNamesWins) {
  EXPECT_EQ(startProfile("[Profile2]\nName=two\nDefault=1\n[Profile10]\nName=ten\nDefault=1\n"), "ten");
}

TEST(StartProfile, OnlyTheValueOneMakesADefault) {
  for (const char* value : {"yes", "1 ", " 1", "11", "", "0", "true"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(startProfile(std::string("[Profile0]\nName=a\nDefault=") + value + "\n"), std::nullopt);
  }
}

TEST(StartProfile, ADefaultWithoutANameIsTheEmptyName) {
  EXPECT_EQ(startProfile("[Profile0]\nDefault=1\n"), "");
}

std::optional<std::string> lockPath(std::string_view profilesIni, const std::string& profileName) {
  return parentLockPath(parseFirefoxProfiles(profilesIni), profileName, kRoaming);
}

TEST(ParentLock, OfARelativeProfileLiesBelowTheRoamingFolder) {
  EXPECT_EQ(lockPath("[Profile0]\nName=a\nIsRelative=1\nPath=Profiles/abc.default\n", "a"),
            R"(C:\Roaming\Mozilla\Firefox\Profiles\abc.default\parent.lock)");
}

TEST(ParentLock, EverySlashOfARelativePathIsTurned) {
  EXPECT_EQ(lockPath("[Profile0]\nName=a\nIsRelative=1\nPath=/a/b\\c/\n", "a"),
            R"(C:\Roaming\Mozilla\Firefox\\a\b\c\\parent.lock)");
}

TEST(ParentLock, TheSlashesOfTheRoamingFolderStay) {
  EXPECT_EQ(
      parentLockPath(parseFirefoxProfiles("[Profile0]\nName=a\nIsRelative=1\nPath=P/a\n"), "a", "C:/Roaming"),
      R"(C:/Roaming\Mozilla\Firefox\P\a\parent.lock)");
}

TEST(ParentLock, OfAnAbsoluteProfileKeepsThePathAsItStands) {
  EXPECT_EQ(lockPath("[Profile0]\nName=a\nIsRelative=0\nPath=C:/p\n", "a"), R"(C:/p\parent.lock)");
  EXPECT_EQ(lockPath("[Profile0]\nName=a\nPath=C:/p\n", "a"), R"(C:/p\parent.lock)");
}

TEST(ParentLock, OnlyTheValueOneMakesAPathRelative) {
  for (const char* value : {"", "0", "01", "1 ", "true"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(lockPath(std::string("[P]\nName=a\nPath=C:/p\nIsRelative=") + value + "\n", "a"),
              R"(C:/p\parent.lock)");
  }
}

TEST(ParentLock, AMissingPathCountsAsEmpty) {
  EXPECT_EQ(lockPath("[Profile0]\nName=a\n", "a"), R"(\parent.lock)");
  EXPECT_EQ(lockPath("[Profile0]\nName=a\nIsRelative=1\n", "a"),
            R"(C:\Roaming\Mozilla\Firefox\\parent.lock)");
}

TEST(ParentLock, IsThatOfTheFirstSectionWithTheName) {
  EXPECT_EQ(lockPath("[Profile2]\nName=a\nPath=two\n[Profile10]\nName=a\nPath=ten\n", "a"),
            R"(ten\parent.lock)");
}

TEST(ParentLock, TheNameIsComparedExactly) {
  for (const char* name : {"Dev", "dev ", " dev", "de", "devs"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(lockPath("[Profile0]\nName=dev\nPath=p\n", name), std::nullopt);
  }
  EXPECT_EQ(lockPath("[Profile0]\nName = dev\nPath=p\n", "dev"), std::nullopt);
}

TEST(ParentLock, ASectionWithoutANameHasTheEmptyName) {
  EXPECT_EQ(lockPath("[General]\nPath=g\n[Profile0]\nName=dev\nPath=p\n", ""), R"(g\parent.lock)");
}

TEST(ParentLock, ThereIsNoneWithoutProfiles) {
  EXPECT_EQ(lockPath("", ""), std::nullopt);
}

TEST(ParentLock, APathCutOffByTheEndOfTheFileIsTheWordPath) {
  EXPECT_EQ(lockPath("[Profile0]\nName=a\nPath=C:/p", "a"), R"(Path\parent.lock)");
}

}  // namespace

}  // namespace kx
