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

TEST(Strings, SpaceLettersAndDigitsAreThoseOfAsciiAndNothingElse) {
  EXPECT_EQ(membersOf(isAsciiSpace), "\t\n\v\f\r ");
  EXPECT_EQ(membersOf(isAsciiLetter), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(membersOf(isAsciiDigit), "0123456789");
}

TEST(Strings, AComparisonWithoutCaseTakesAsciiLettersOfTheWholeTextsAsEqualAndNothingElse) {
  EXPECT_TRUE(equalsIgnoringCase("AbYz", "aBYZ"));
  EXPECT_TRUE(equalsIgnoringCase("", ""));
  for (const auto& [one, other] :
       {std::pair("a", "b"), {"@", "`"}, {"[", "{"}, {"\xC4", "\xE4"}, {"on", "one"}, {"", "a"}}) {
    EXPECT_FALSE(equalsIgnoringCase(one, other)) << one;
    EXPECT_FALSE(equalsIgnoringCase(other, one)) << one;
  }
}

TEST(Strings, OneTrailingBackslashIsRemoved) {
  EXPECT_EQ(stripTrailingBackslash("C:\\dir\\"), "C:\\dir");
  EXPECT_EQ(stripTrailingBackslash("C:\\dir\\\\"), "C:\\dir\\");
  EXPECT_EQ(stripTrailingBackslash("\\"), "");
  for (const char* path : {"C:\\dir", "C:/dir/", ""}) {
    EXPECT_EQ(stripTrailingBackslash(path), path);
  }
}

TEST(Strings, JoiningPutsOneBlankBetweenEachTwoTexts) {
  EXPECT_EQ(joinWithSpaces({}), "");
  EXPECT_EQ(joinWithSpaces({"a"}), "a");
  EXPECT_EQ(joinWithSpaces({"a", "b c", "d"}), "a b c d");
  EXPECT_EQ(joinWithSpaces({"", "", "x"}), "  x");
}

TEST(Strings, QuotesEncloseATextAsItIs) {
  EXPECT_EQ(inDoubleQuotes(""), "\"\"");
  EXPECT_EQ(inDoubleQuotes("a \"b\""), "\"a \"b\"\"");
}

}  // namespace

}  // namespace kx
