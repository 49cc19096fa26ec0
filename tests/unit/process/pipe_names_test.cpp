#include "process/pipe_names.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

// Path and profile.
std::string described(const ServerPipe& pipe) {
  return pipe.pipePath + " of " + pipe.profileName;
}

TEST(ExplicitPipe, AShortNameIsCompletedWithBrowserTypeAndUserAndAFullPathIsTakenAsItIs) {
  const struct {
    const char* browser;
    const char* name;
    const char* user;
    const char* expected;
  } cases[] = {
      {"fx", "work", "alice", R"(\\.\pipe\kx-fx-work.alice of work)"},
      {"cr", "My Work", "Bob B", R"(\\.\pipe\kx-cr-My Work.Bob B of My Work)"},
      {"fx", "work", "", R"(\\.\pipe\kx-fx-work. of work)"},
      {"fx", "", "alice", R"(\\.\pipe\kx-fx-.alice of default)"},
      // The profile of a full path is unknown.
      {"fx", R"(\\.\pipe\custom)", "alice", R"(\\.\pipe\custom of unknonw)"},
      {"cr", R"(\\.)", "alice", R"(\\. of unknonw)"},
      // What begins a full path is nothing special later in a name, nor is a part of it.
      {"fx", R"(a\\.b)", "alice", R"(\\.\pipe\kx-fx-a\\.b.alice of a\\.b)"},
      {"fx", R"(\\server\pipe\x)", "alice", R"(\\.\pipe\kx-fx-\\server\pipe\x.alice of \\server\pipe\x)"},
      {"fx", R"(\\)", "alice", R"(\\.\pipe\kx-fx-\\.alice of \\)"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(described(explicitServerPipe(c.browser, c.name, c.user)), c.expected);
  }
}

TEST(DefaultPipe, TheDefaultPipeOfFirefoxIsThatOfItsStartProfileOrHasTheDefaultName) {
  const struct {
    const char* rule;
    const char* profilesIni;
    const char* expected;
  } cases[] = {
      {"no profiles", "", R"(\\.\pipe\kx-fx-default.alice of default)"},
      {"a default", "[Profile0]\nName=other\n[Profile1]\nDefault=1\nName=dev\n",
       R"(\\.\pipe\kx-fx-dev.alice of dev)"},
      {"Firefox asks", "[General]\nStartWithLastProfile=0\n[Profile0]\nName=dev\nDefault=1\n",
       R"(\\.\pipe\kx-fx-default.alice of default)"},
      {"a default without a name", "[Profile0]\nDefault=1\n", R"(\\.\pipe\kx-fx-.alice of )"},
      // Firefox 67 and later start with the profile of their own section instead.
      {"a section of an installation does not decide",
       "[Install308046B0AF4A39CB]\nDefault=Profiles/new\nLocked=1\n"
       "[Profile1]\nName=old\nPath=Profiles/old\nDefault=1\n[Profile0]\nName=new\nPath=Profiles/new\n",
       R"(\\.\pipe\kx-fx-old.alice of old)"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(described(defaultServerPipe("fx", "alice", parseFirefoxProfiles(c.profilesIni))), c.expected)
        << c.rule;
  }
}

TEST(DefaultPipe, TheDefaultPipeOfChromeHasTheDefaultNameAndAnyOtherBrowserHasNone) {
  const FirefoxProfileList profiles = parseFirefoxProfiles("[Profile0]\nName=dev\nDefault=1\n");

  EXPECT_EQ(described(defaultServerPipe("cr", "alice", profiles)),
            R"(\\.\pipe\kx-cr-default.alice of default)");
  for (const char* browser : {"", "FX", "fxx", "CR", "ie"}) {
    EXPECT_EQ(described(defaultServerPipe(browser, "alice", profiles)), " of ") << browser;
  }
}

TEST(RunnerPipe, TheRunnerPipeIsNamedAfterTheDigestOfTheProfilePath) {
  EXPECT_EQ(runnerPipeName("cr", "abc"), R"(\\.\pipe\kx-cr-900150983cd24fb0d6963f7d28e17f72.runner)");
  EXPECT_EQ(runnerPipeName("fx", ""), R"(\\.\pipe\kx-fx-d41d8cd98f00b204e9800998ecf8427e.runner)");
}

TEST(RunnerPipe, OneTrailingBackslashOfThePathDoesNotMatter) {
  EXPECT_EQ(runnerPipeName("cr", R"(C:\Users\me\Data\)"), runnerPipeName("cr", R"(C:\Users\me\Data)"));
  EXPECT_NE(runnerPipeName("cr", R"(C:\Users\me\Data\\)"), runnerPipeName("cr", R"(C:\Users\me\Data)"));
  EXPECT_EQ(runnerPipeName("cr", "abc\\"), R"(\\.\pipe\kx-cr-900150983cd24fb0d6963f7d28e17f72.runner)");
}

TEST(RunnerPipe, TheRunnerPipeOfFirefoxIsNamedAfterTheProfileItself) {
  EXPECT_EQ(firefoxRunnerPipeName("default"), R"(\\.\pipe\default.runner)");
  EXPECT_EQ(firefoxRunnerPipeName("a b\\"), R"(\\.\pipe\a b\.runner)");
  EXPECT_EQ(firefoxRunnerPipeName(""), R"(\\.\pipe\.runner)");
}

TEST(CommunicationPipe, TheNameHoldsBrowserProfileThreadAndProcessInThisOrder) {
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

TEST(StartLock, TheStartLockIsNamedAfterBrowserProfileAndUser) {
  EXPECT_EQ(startLockName("fx", "default", "alice"), "kx-fx-default.alice.lock");
  EXPECT_EQ(startLockName("cr", "unknonw", "Bob B"), "kx-cr-unknonw.Bob B.lock");
  EXPECT_EQ(startLockName("", "", ""), "kx--..lock");
}

}  // namespace

}  // namespace kx
