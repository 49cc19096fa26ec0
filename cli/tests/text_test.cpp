#include "cli/text.h"

#include <gtest/gtest.h>

namespace kx::cli {
namespace {

TEST(Texts, AWordIsQuotedAsWindowsProgramsReadIt) {
  EXPECT_EQ(quotedWord("C:\\a b\\"), "\"C:\\a b\\\\\"");
  EXPECT_EQ(quotedWord("say \"x\\\"\\n"), "\"say \\\"x\\\\\\\"\\n\"");
}

TEST(Texts, APlaceCountsLinesAndCharactersFromOne) {
  const std::string_view text = "ab\n\xC3\xB8x";

  EXPECT_EQ(placeOf(text, 0).line, 1U);
  EXPECT_EQ(placeOf(text, 0).column, 1U);
  EXPECT_EQ(placeOf(text, 5).line, 2U);
  EXPECT_EQ(placeOf(text, 5).column, 2U);
}

TEST(Texts, WhatIsNotUtf8IsFoundAtItsFirstByte) {
  const std::pair<std::string, std::optional<std::size_t>> cases[] = {
      {"plain", {}},           {"\xC3\xB8\xE2\x82\xAC\xF0\x9F\x98\x80", {}},
      {"a\xE4z", 1},           {"\xC0\x80", 0},  // overlong
      {"\xED\xA0\x80", 0},                       // a surrogate
      {"\xF4\x90\x80\x80", 0},                   // beyond the last character
      {"ab\xE2\x82", 2},                         // cut short
  };
  for (const auto& [text, offset] : cases) {
    EXPECT_EQ(firstNonUtf8(text), offset) << text;
  }
}

TEST(Texts, AFileIsTakenWithoutItsMarkOrRefusedWithLineAndColumn) {
  struct Case {
    std::string bytes;
    std::string text;
    std::string problem;
  };
  const Case cases[] = {
      {"\xEF\xBB\xBFmacro", "macro", ""},
      {"macro\r\n", "macro\r\n", ""},
      {std::string("\xFF\xFEm\0", 4), "", "f is in UTF-16. Save it as UTF-8."},
      {"one\nl\xF6sen", "", "f, line 2, column 2: the byte 0xF6 is not UTF-8 there. Save the file as UTF-8."},
      {std::string("a\0b", 3), "",
       "f, line 1, column 2: a zero byte, which would end the text. Take it out."},
  };
  for (const Case& one : cases) {
    std::string problem;
    EXPECT_EQ(plainText(one.bytes, "f", problem), one.text);
    EXPECT_EQ(problem, one.problem);
  }
}

TEST(Texts, AColumnIsACharacter) {
  EXPECT_EQ(width("\xC3\xB8x"), 2U);
  EXPECT_EQ(padded("\xC3\xB8", 3), "\xC3\xB8  ");
  EXPECT_EQ(shortened("\xC3\xB8\xC3\xB8\xC3\xB8\xC3\xB8\xC3\xB8", 4), "\xC3\xB8...");
  EXPECT_EQ(shortened("abcd", 4), "abcd");
}

TEST(Texts, ControlCharactersAreMadeVisible) {
  EXPECT_EQ(onOneLine("a\tb\r\n\x1b[31m"), "a\\tb\\r\\n\\x1B[31m");
}

TEST(Texts, LongTextsAreWrappedBetweenWords) {
  EXPECT_EQ(wrapped("one two three", 9, "  "), "  one two\n  three");
}

TEST(Texts, AWordThatIsNearIsWhatWasMeant) {
  const std::vector<std::string> known = {"--timeout", "--parallel"};
  const std::pair<std::string, std::optional<std::string>> cases[] = {
      {"--timout", "--timeout"}, {"--parralel", "--parallel"}, {"--city", std::nullopt}};
  for (const auto& [word, meant] : cases) {
    EXPECT_EQ(nearest(word, known), meant) << word;
  }
}

TEST(Texts, APatternsWordsStandForAnyText) {
  struct Case {
    std::string pattern;
    std::string text;
    bool fits;
  };
  const Case cases[] = {
      {"no words", "no words", true},
      {"no words", "no words ", false},
      {"pipe {name}, error = {number}", "pipe \\\\.\\pipe\\x, error = 2", true},
      {"pipe {name}, error = {number}", "pipe x, error 2", false},
      {"{export}() failed", "kx_Play() failed", true},
      {"open {path}", "open ", true},
      {"a{x}a", "a", false},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(fits(one.pattern, one.text), one.fits) << one.pattern << " / " << one.text;
  }
}

}  // namespace
}  // namespace kx::cli
