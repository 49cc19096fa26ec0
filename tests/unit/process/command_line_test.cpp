#include "process/command_line.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(CommandLine, ATextWithABlankIsQuoted) {
  EXPECT_EQ(quotedIfNeeded("a b"), "\"a b\"");
  EXPECT_EQ(quotedIfNeeded(" "), "\" \"");
  EXPECT_EQ(quotedIfNeeded("a\"x y\"b"), "\"a\"x y\"b\"");
}

TEST(CommandLine, ATextWithoutABlankStays) {
  EXPECT_EQ(quotedIfNeeded("ab"), "ab");
  EXPECT_EQ(quotedIfNeeded(""), "");
  EXPECT_EQ(quotedIfNeeded("a\tb"), "a\tb");
  EXPECT_EQ(quotedIfNeeded("\"ab"), "\"ab");
}

TEST(CommandLine, AQuoteAtEitherEndKeepsATextAsItIs) {
  EXPECT_EQ(quotedIfNeeded("\"a b\""), "\"a b\"");
  EXPECT_EQ(quotedIfNeeded("\"a b"), "\"a b");
  EXPECT_EQ(quotedIfNeeded("a b\""), "a b\"");
}

TEST(CommandLine, TheLineIsTheProgramAndItsArgumentsWithOneBlankBetweenEachTwo) {
  EXPECT_EQ(commandLine("C:\\Program Files\\Mozilla Firefox\\firefox.exe", {"-kx-pipe", "\\\\.\\pipe\\p"}),
            "\"C:\\Program Files\\Mozilla Firefox\\firefox.exe\" -kx-pipe \\\\.\\pipe\\p");
  EXPECT_EQ(commandLine("p.exe", {"a b", "--user-data-dir=\"c d\"", "e"}),
            "p.exe \"a b\" --user-data-dir=\"c d\" e");
}

TEST(CommandLine, WithoutArgumentsNoBlankFollowsTheProgram) {
  EXPECT_EQ(commandLine("C:\\p.exe", {}), "C:\\p.exe");
  EXPECT_EQ(commandLine("C:\\a b\\p.exe", {}), "\"C:\\a b\\p.exe\"");
}

TEST(CommandLine, AnEmptyArgumentKeepsItsBlank) {
  EXPECT_EQ(commandLine("p.exe", {"", "x"}), "p.exe  x");
}

TEST(CommandLine, AProgramPathThatAlreadyHasAQuoteAtOneEndIsNotQuotedAgain) {
  EXPECT_EQ(commandLine("\"C:\\a b\\p.exe\"", {"x"}), "\"C:\\a b\\p.exe\" x");
}

TEST(WorkingDirectory, IsThePathBeforeTheLastBackslash) {
  EXPECT_EQ(workingDirectory("C:\\Program Files\\Mozilla Firefox\\firefox.exe"),
            "C:\\Program Files\\Mozilla Firefox");
  EXPECT_EQ(workingDirectory("C:\\p.exe"), "C:");
  EXPECT_EQ(workingDirectory("\\p.exe"), "");
}

TEST(WorkingDirectory, OfAPathWithoutABackslashIsTheWholePath) {
  EXPECT_EQ(workingDirectory("firefox.exe"), "firefox.exe");
  EXPECT_EQ(workingDirectory("C:/dir/p.exe"), "C:/dir/p.exe");
}

}  // namespace

}  // namespace kx
