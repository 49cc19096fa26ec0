#include "process/command_line.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(CommandLine, ATextWithABlankIsQuotedUnlessAQuoteStandsAtEitherEnd) {
  const std::pair<const char*, const char*> cases[] = {
      {"a b", "\"a b\""},
      {" ", "\" \""},
      {"a\"x y\"b", "\"a\"x y\"b\""},
      {"ab", "ab"},
      {"", ""},
      {"a\tb", "a\tb"},
      {"\"ab", "\"ab"},
      {"\"a b\"", "\"a b\""},
      {"\"a b", "\"a b"},
      {"a b\"", "a b\""},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(quotedIfNeeded(text), expected);
  }
}

TEST(CommandLine, TheLineIsTheProgramAndItsArgumentsWithOneBlankBetweenEachTwo) {
  EXPECT_EQ(commandLine("C:\\Program Files\\f.exe", {"-kx-pipe", "\\\\.\\pipe\\p"}),
            "\"C:\\Program Files\\f.exe\" -kx-pipe \\\\.\\pipe\\p");
  EXPECT_EQ(commandLine("p.exe", {"a b", "--user-data-dir=\"c d\"", "e"}),
            "p.exe \"a b\" --user-data-dir=\"c d\" e");
  EXPECT_EQ(commandLine("C:\\p.exe", {}), "C:\\p.exe");
  EXPECT_EQ(commandLine("p.exe", {"", "x"}), "p.exe  x");
  EXPECT_EQ(commandLine("\"C:\\a b\\p.exe\"", {"x"}), "\"C:\\a b\\p.exe\" x");
}

TEST(WorkingDirectory, TheWorkingDirectoryIsThePathBeforeTheLastBackslashOrTheWholeWithoutOne) {
  EXPECT_EQ(workingDirectory("C:\\Program Files\\Mozilla Firefox\\firefox.exe"),
            "C:\\Program Files\\Mozilla Firefox");
  EXPECT_EQ(workingDirectory("C:\\p.exe"), "C:");
  EXPECT_EQ(workingDirectory("\\p.exe"), "");
  EXPECT_EQ(workingDirectory("firefox.exe"), "firefox.exe");
  EXPECT_EQ(workingDirectory("C:/dir/p.exe"), "C:/dir/p.exe");
}

}  // namespace

}  // namespace kx
