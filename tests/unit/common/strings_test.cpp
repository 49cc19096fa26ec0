#include "common/strings.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

// The bytes from 0 to 255 for which a class holds, in order.
std::string membersOf(bool (*isMember)(char)) {
  std::string members;
  for (int byte = 0; byte < 256; ++byte) {
    if (isMember(static_cast<char>(byte))) {
      members += static_cast<char>(byte);
    }
  }
  return members;
}

TEST(Strings, SpaceIsTheSixAsciiBlanksAndNothingElse) {
  EXPECT_EQ(membersOf(isAsciiSpace), "\t\n\v\f\r ");
}

TEST(Strings, LettersAreThoseOfAsciiAndNothingElse) {
  EXPECT_EQ(membersOf(isAsciiLetter), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
}

TEST(Strings, DigitsAreThoseOfAsciiAndNothingElse) {
  EXPECT_EQ(membersOf(isAsciiDigit), "0123456789");
}

TEST(Strings, AComparisonWithoutCaseTakesAsciiLettersAsEqual) {
  EXPECT_TRUE(equalsIgnoringCase("AbYz", "aBYZ"));
  EXPECT_TRUE(equalsIgnoringCase("", ""));
}

TEST(Strings, AComparisonWithoutCaseTakesNothingElseAsEqual) {
  EXPECT_FALSE(equalsIgnoringCase("a", "b"));
  EXPECT_FALSE(equalsIgnoringCase("@", "`"));
  EXPECT_FALSE(equalsIgnoringCase("[", "{"));
  EXPECT_FALSE(equalsIgnoringCase("\xC4", "\xE4"));
}

TEST(Strings, AComparisonWithoutCaseLooksAtTheWholeOfBothTexts) {
  EXPECT_FALSE(equalsIgnoringCase("on", "one"));
  EXPECT_FALSE(equalsIgnoringCase("one", "on"));
  EXPECT_FALSE(equalsIgnoringCase("", "a"));
}

TEST(Strings, OneTrailingBackslashIsRemoved) {
  EXPECT_EQ(stripTrailingBackslash("C:\\dir\\"), "C:\\dir");
  EXPECT_EQ(stripTrailingBackslash("C:\\dir\\\\"), "C:\\dir\\");
  EXPECT_EQ(stripTrailingBackslash("\\"), "");
}

TEST(Strings, APathWithoutATrailingBackslashStays) {
  EXPECT_EQ(stripTrailingBackslash("C:\\dir"), "C:\\dir");
  EXPECT_EQ(stripTrailingBackslash("C:/dir/"), "C:/dir/");
  EXPECT_EQ(stripTrailingBackslash(""), "");
}

TEST(Strings, JoiningPutsOneBlankBetweenEachTwoTexts) {
  EXPECT_EQ(joinWithSpaces({}), "");
  EXPECT_EQ(joinWithSpaces({"a"}), "a");
  EXPECT_EQ(joinWithSpaces({"a", "b c", "d"}), "a b c d");
  EXPECT_EQ(joinWithSpaces({"", "", "x"}), "  x");
  EXPECT_EQ(joinWithSpaces({"x", "x"}), "x x");
}

TEST(Strings, QuotesEncloseATextAsItIs) {
  EXPECT_EQ(inDoubleQuotes(""), "\"\"");
  EXPECT_EQ(inDoubleQuotes("a \"b\""), "\"a \"b\"\"");
}

}  // namespace

}  // namespace kx
