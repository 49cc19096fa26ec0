#include "command_line.h"

#include <gtest/gtest.h>

namespace kxsim {
namespace {

using Parts = std::vector<std::string>;

TEST(CommandLine, BlanksPartArgumentsAndQuotesHoldThemTogether) {
  EXPECT_EQ((Parts{"C:\\a b\\p.exe", "one", "two three", "", "x y"}),
            splitCommandLine("\"C:\\a b\\p.exe\"  one \"two three\"\t\"\" x\" \"y "));
}

TEST(CommandLine, BackslashesAreSpecialOnlyBeforeAQuote) {
  EXPECT_EQ((Parts{"p", "a\\b\\", "c\\", "d\"e", "f\\\"g"}), splitCommandLine(R"(p a\b\ "c\\" d\"e f\\\"g)"));
}

TEST(CommandLine, AProgramNameMayEndInABackslashBeforeItsQuote) {
  EXPECT_EQ((Parts{"C:\\x\\", "y"}), splitCommandLine(R"("C:\x\" y)"));
}

TEST(CommandLine, TheSwitchesOfFirefoxAreRead) {
  const CommandLine line =
      readCommandLine(R"(firefox.exe -no-remote -P "my prof" -kx-pipe "\\.\pipe\q" -kx-profiler)");

  EXPECT_EQ("firefox.exe", line.program);
  EXPECT_TRUE(line.noRemote);
  EXPECT_EQ("my prof", line.profile);
  EXPECT_EQ("\\\\.\\pipe\\q", line.switchPipe);
  EXPECT_TRUE(line.profiler);
  EXPECT_FALSE(line.userDataDir.has_value());
}

TEST(CommandLine, TheSwitchesOfChromeAreRead) {
  const CommandLine line =
      readCommandLine(R"(chrome.exe --user-data-dir="C:\my data" "file://C:\a b\x.html?pipe=\\.\pipe\q")");

  EXPECT_EQ("C:\\my data", line.userDataDir);
  EXPECT_EQ("\\\\.\\pipe\\q", line.startPagePipe);
}

TEST(CommandLine, AStartPageWithUnquotedBlanksStillNamesItsPipe) {
  EXPECT_EQ("work", readCommandLine(R"(p file://C:\a b\x.html?pipe=work)").startPagePipe);
}

TEST(CommandLine, ADirectoryThatEndsInABackslashDoesNotHideTheStartPage) {
  EXPECT_EQ("work", readCommandLine(R"(p --user-data-dir="C:\d\" file://C:\x.html?pipe=work)").startPagePipe);
}

TEST(CommandLine, AStartPageWithAnEmptyPipeNamesNone) {
  EXPECT_FALSE(readCommandLine("p file://x.html?pipe=").startPagePipe.has_value());
}

TEST(CommandLine, ASwitchWithoutItsValueIsPassedOver) {
  EXPECT_FALSE(readCommandLine("p -P").profile.has_value());
}

TEST(CommandLine, TheSimulatorsOwnOptionsAreRead) {
  const CommandLine line = readCommandLine(
      "p --help --version --describe --verbose --misbehaviours --show-requests --type=cr --pipe=a "
      "--script=b --record=c --misbehave=d,e");

  EXPECT_TRUE(line.help && line.version && line.describe && line.verbose);
  EXPECT_TRUE(line.misbehaviours && line.showRequests);
  EXPECT_EQ("cr", line.typeOption);
  EXPECT_EQ("a", line.pipeOption);
  EXPECT_EQ("b", line.scriptOption);
  EXPECT_EQ("c", line.recordOption);
  EXPECT_EQ("d,e", line.misbehaveOption);
}

TEST(CommandLine, TheFileNameIsBehindTheLastSlash) {
  EXPECT_EQ("c.exe", fileNameOf("C:\\a/b\\c.exe"));
  EXPECT_EQ("c.exe", fileNameOf("c.exe"));
}

}  // namespace
}  // namespace kxsim
