#include "process/pipe_names.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

struct ExpectedPipe {
  std::string pipePath;
  std::string profileName;
};

void expectPipe(const ServerPipe& pipe, const ExpectedPipe& expected) {
  EXPECT_EQ(pipe.pipePath, expected.pipePath);
  EXPECT_EQ(pipe.profileName, expected.profileName);
}

ServerPipe defaultFirefoxPipe(std::string_view profilesIni) {
  return defaultServerPipe("fx", "alice", parseFirefoxProfiles(profilesIni));
}

TEST(ExplicitPipe, AShortNameIsCompletedWithBrowserTypeAndUser) {
  expectPipe(explicitServerPipe("fx", "work", "alice"), {R"(\\.\pipe\kx-fx-work.alice)", "work"});
  expectPipe(explicitServerPipe("cr", "My Work", "Bob B"), {R"(\\.\pipe\kx-cr-My Work.Bob B)", "My Work"});
}

TEST(ExplicitPipe, AFullPathIsTakenAsItIsAndItsProfileIsUnknown) {
  expectPipe(explicitServerPipe("fx", R"(\\.\pipe\custom)", "alice"), {R"(\\.\pipe\custom)", "unknonw"});
  expectPipe(explicitServerPipe("cr", R"(\\.)", "alice"), {R"(\\.)", "unknonw"});
}

TEST(ExplicitPipe, TheStartOfAFullPathLaterInANameIsNothingSpecial) {
  expectPipe(explicitServerPipe("fx", R"(a\\.b)", "alice"), {R"(\\.\pipe\kx-fx-a\\.b.alice)", R"(a\\.b)"});
}

TEST(ExplicitPipe, LessThanTheStartOfAFullPathIsAShortName) {
  expectPipe(explicitServerPipe("fx", R"(\\server\pipe\x)", "alice"),
             {R"(\\.\pipe\kx-fx-\\server\pipe\x.alice)", R"(\\server\pipe\x)"});
  expectPipe(explicitServerPipe("fx", R"(\\)", "alice"), {R"(\\.\pipe\kx-fx-\\.alice)", R"(\\)"});
}

TEST(ExplicitPipe, AnEmptyNameIsTheDefaultProfile) {
  expectPipe(explicitServerPipe("fx", "", "alice"), {R"(\\.\pipe\kx-fx-.alice)", "default"});
}

TEST(ExplicitPipe, AnEmptyUserNameLeavesThePointAlone) {
  expectPipe(explicitServerPipe("fx", "work", ""), {R"(\\.\pipe\kx-fx-work.)", "work"});
}

TEST(DefaultPipe, WithoutProfilesFirefoxHasTheDefaultName) {
  expectPipe(defaultFirefoxPipe(""), {R"(\\.\pipe\kx-fx-default.alice)", "default"});
}

TEST(DefaultPipe, FirefoxIsMetOnThePipeOfItsStartProfile) {
  expectPipe(defaultFirefoxPipe("[General]\nStartWithLastProfile=1\n"
                                "[Profile0]\nName=other\n"
                                "[Profile1]\nDefault=1\nName=dev\n"),
             {R"(\\.\pipe\kx-fx-dev.alice)", "dev"});
}

// Firefox 67 and later start with the profile of their own section instead.
TEST(DefaultPipe, ASectionOfAnInstallationDoesNotDecide) {
  expectPipe(defaultFirefoxPipe("[Install308046B0AF4A39CB]\nDefault=Profiles/new.default-release\nLocked=1\n"
                                "[Profile1]\nName=default\nPath=Profiles/old.default\nDefault=1\n"
                                "[Profile0]\nName=default-release\nPath=Profiles/new.default-release\n"),
             {R"(\\.\pipe\kx-fx-default.alice)", "default"});
}

TEST(DefaultPipe, AFirefoxThatAsksForTheProfileHasTheDefaultName) {
  expectPipe(defaultFirefoxPipe("[General]\nStartWithLastProfile=0\n[Profile0]\nName=dev\nDefault=1\n"),
             {R"(\\.\pipe\kx-fx-default.alice)", "default"});
}

TEST(DefaultPipe, AStartProfileWithoutANameLeavesTheNameEmpty) {
  expectPipe(defaultFirefoxPipe("[Profile0]\nDefault=1\n"), {R"(\\.\pipe\kx-fx-.alice)", ""});
}

TEST(DefaultPipe, ChromeHasTheDefaultNameWhateverProfilesThereAre) {
  const FirefoxProfileList profiles = parseFirefoxProfiles("[Profile0]\nName=dev\nDefault=1\n");

  expectPipe(defaultServerPipe("cr", "alice", profiles), {R"(\\.\pipe\kx-cr-default.alice)", "default"});
}

TEST(DefaultPipe, AnyOtherBrowserHasNone) {
  const FirefoxProfileList profiles = parseFirefoxProfiles("[Profile0]\nName=dev\nDefault=1\n");

  for (const char* browser : {"", "FX", "fxx", "CR", "ie"}) {
    SCOPED_TRACE(browser);
    expectPipe(defaultServerPipe(browser, "alice", profiles), {"", ""});
  }
}

TEST(RunnerPipe, IsNamedAfterTheDigestOfTheProfilePath) {
  EXPECT_EQ(runnerPipeName("cr", "abc"), R"(\\.\pipe\kx-cr-900150983cd24fb0d6963f7d28e17f72.runner)");
  EXPECT_EQ(runnerPipeName("fx", ""), R"(\\.\pipe\kx-fx-d41d8cd98f00b204e9800998ecf8427e.runner)");
}

TEST(RunnerPipe, OneTrailingBackslashOfThePathDoesNotMatter) {
  EXPECT_EQ(runnerPipeName("cr", R"(C:\Users\me\Data\)"), runnerPipeName("cr", R"(C:\Users\me\Data)"));
  EXPECT_NE(runnerPipeName("cr", R"(C:\Users\me\Data\\)"), runnerPipeName("cr", R"(C:\Users\me\Data)"));
  EXPECT_EQ(runnerPipeName("cr", "abc\\"), R"(\\.\pipe\kx-cr-900150983cd24fb0d6963f7d28e17f72.runner)");
}

TEST(RunnerPipe, OfTheRunnerFamilyForFirefoxIsNamedAfterTheProfileItself) {
  EXPECT_EQ(firefoxRunnerPipeName("default"), R"(\\.\pipe\default.runner)");
  EXPECT_EQ(firefoxRunnerPipeName("a b\\"), R"(\\.\pipe\a b\.runner)");
  EXPECT_EQ(firefoxRunnerPipeName(""), R"(\\.\pipe\.runner)");
}

TEST(CommunicationPipe, NamesBrowserProfileThreadAndProcessInThisOrder) {
  EXPECT_EQ(communicationPipeName("fx", "default", 4120, 9876), R"(\\.\pipe\kx-fx-cli-default.4120.9876)");
  EXPECT_EQ(communicationPipeName("cr", "a b", 1, 2), R"(\\.\pipe\kx-cr-cli-a b.1.2)");
}

TEST(CommunicationPipe, IdsAreSignedNumbers) {
  EXPECT_EQ(communicationPipeName("fx", "p", 0xFFFFFFFFU, 0x80000000U),
            R"(\\.\pipe\kx-fx-cli-p.-1.-2147483648)");
}

TEST(CommunicationPipe, TheNameIsCutAt255CharactersBehindThePrefix) {
  // "kx-fx-cli-" and ".12.345" take 17 characters.
  const std::string prefix = R"(\\.\pipe\)";

  EXPECT_EQ(communicationPipeName("fx", std::string(238, 'p'), 12, 345),
            prefix + "kx-fx-cli-" + std::string(238, 'p') + ".12.345");
  EXPECT_EQ(communicationPipeName("fx", std::string(239, 'p'), 12, 345),
            prefix + "kx-fx-cli-" + std::string(239, 'p') + ".12.34");
  EXPECT_EQ(communicationPipeName("fx", std::string(5000, 'p'), 12, 345),
            prefix + "kx-fx-cli-" + std::string(245, 'p'));
}

TEST(StartLock, IsNamedAfterBrowserProfileAndUser) {
  EXPECT_EQ(startLockName("fx", "default", "alice"), "kx-fx-default.alice.lock");
  EXPECT_EQ(startLockName("cr", "unknonw", "Bob B"), "kx-cr-unknonw.Bob B.lock");
  EXPECT_EQ(startLockName("", "", ""), "kx--..lock");
}

}  // namespace

}  // namespace kx
