#include "browser/string_run.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace kx {

namespace {

std::size_t runLength(std::string_view text) {
  return static_cast<std::size_t>(endOfStringRun(text.data(), text.data() + text.size()) - text.data());
}

std::size_t runLengthBytewise(std::string_view text) {
  return static_cast<std::size_t>(endOfStringRunBytewise(text.data(), text.data() + text.size()) -
                                  text.data());
}

constexpr char kPlain[] = "sixteen bytes and some more";

TEST(StringRun, EndsAtTheClosingQuote) {
  EXPECT_EQ(runLength("\""), 0U);
  EXPECT_EQ(runLength(R"(abc"def)"), 3U);
  EXPECT_EQ(runLength(R"(a\"b\\"x)"), 6U);
  EXPECT_EQ(runLength(kPlain + std::string(R"(\\\"\n" and behind it)")), sizeof(kPlain) - 1 + 6);
}

TEST(StringRun, EndsBeforeAByteThatMayNotStandThere) {
  EXPECT_EQ(runLength("ab\x01"), 2U);
  EXPECT_EQ(runLength("ab\\n\tx"), 4U);
  EXPECT_EQ(runLength(std::string(R"(\n\n\n\n\n\n\n\n\n)") + "\x1F"), 18U);
}

TEST(StringRun, EndsBeforeAnEscapeThatIsNone) {
  EXPECT_EQ(runLength(R"(ab\x)"), 2U);
  EXPECT_EQ(runLength(R"(\n\u12g4)"), 2U);
  EXPECT_EQ(runLength(R"(\n\n\n\n\n\n\U0041\n\n\n\n\n\n)"), 12U);
}

TEST(StringRun, EndsBeforeAnEscapeThatIsCutShort) {
  EXPECT_EQ(runLength("ab\\"), 2U);
  EXPECT_EQ(runLength(R"(ab\u)"), 2U);
  EXPECT_EQ(runLength(R"(ab\u00e)"), 2U);
  EXPECT_EQ(runLength(R"(ab\u00e9)"), 8U);
}

TEST(StringRun, GoesToTheEndOfABeginningString) {
  EXPECT_EQ(runLength(""), 0U);
  EXPECT_EQ(runLength(R"(\"\\\/\b\f\n\r\t\u0041\uFfFf plain)"), 34U);
  for (const char* escape : {R"(\u0189)", R"(\uabef)", R"(\uABEF)"}) {
    EXPECT_EQ(runLength(escape), 6U) << escape;
    EXPECT_EQ(runLengthBytewise(escape), 6U) << escape;
  }
}

TEST(StringRun, EveryPatternOfBackslashesInABlockIsReadAsTheSingleBytesAre) {
  for (const char* before : {R"(\n)", R"(\\x)", R"(\u0041)"}) {
    for (unsigned pattern = 0; pattern < 0x10000U; ++pattern) {
      std::string text = before;
      for (unsigned place = 0; place < 16; ++place) {
        text += (pattern >> place & 1U) != 0 ? '\\' : 'n';
      }
      text += R"(nnnnnnnnnnnnnnnn"nnnnnnnnnnnnnnnn)";
      ASSERT_EQ(runLength(text), runLengthBytewise(text)) << text;
    }
  }
}

TEST(StringRun, AnyTextIsReadAsTheSingleBytesAre) {
  constexpr std::string_view kPieces[] = {
      "\\n",  "\\\\",  "\\\"", "\\u00e9", "\\uD83D\\uDE00", "x", "words",    "\xE9",
      kPlain, "\\u12", "\\",   "\"",      "\x02",           "u", "\\\\\\\\", "0123456789abcd"};
  constexpr std::size_t kUsual = 9;
  std::mt19937 random(4);
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    while (text.size() < 60) {
      // Mostly pieces that go on.
      text += kPieces[random() % 16 == 0 ? random() % std::size(kPieces) : random() % kUsual];
    }
    text.resize(random() % text.size());
    ASSERT_EQ(runLength(text), runLengthBytewise(text)) << text;
  }
}

}  // namespace

}  // namespace kx
