#include "browser/string_run.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <utility>

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

TEST(StringRun, ARunEndsBeforeAQuoteAnEscapeThatIsNoneOrCutShortAndAByteThatMayNotStandThere) {
  const std::string plain = kPlain;
  const std::pair<std::string, std::size_t> cases[] = {
      {"\"", 0},
      {R"(abc"def)", 3},
      {R"(a\"b\\"x)", 6},
      {plain + R"(\\\"\n" and behind it)", plain.size() + 6},
      {"ab\x01", 2},
      {"ab\\n\tx", 4},
      {R"(\n\n\n\n\n\n\n\n\n)"
       "\x1F",
       18},
      {R"(ab\x)", 2},
      {R"(\n\u12g4)", 2},
      {R"(\n\n\n\n\n\n\U0041\n\n\n\n\n\n)", 12},
      {"ab\\", 2},
      {R"(ab\u)", 2},
      {R"(ab\u00e)", 2},
      {R"(ab\u00e9)", 8},
      // These go on to the end.
      {"", 0},
      {R"(\"\\\/\b\f\n\r\t\u0041\uFfFf plain)", 34},
      {R"(\u0189)", 6},
      {R"(\uabef)", 6},
      {R"(\uABEF)", 6},
  };
  for (const auto& [text, length] : cases) {
    EXPECT_EQ(runLength(text), length) << text;
    EXPECT_EQ(runLengthBytewise(text), length) << text;
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
