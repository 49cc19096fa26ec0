#include "json/plain_text.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace kx {

namespace {

std::size_t plainLength(const std::string& text, std::size_t first, std::size_t last) {
  return static_cast<std::size_t>(json::endOfPlain(text.data() + first, text.data() + last) - text.data()) -
         first;
}

std::size_t plainLengthBytewise(const std::string& text, std::size_t first, std::size_t last) {
  const char* const end = json::endOfPlainBytewise(text.data() + first, text.data() + last);
  return static_cast<std::size_t>(end - text.data()) - first;
}

TEST(PlainText, NoBytesAreNoText) {
  EXPECT_EQ(plainLength("\"", 0, 0), 0U);
  EXPECT_EQ(json::endOfPlain(nullptr, nullptr), nullptr);
}

TEST(PlainText, PlainTextEndsAtTheSameByteInStridesAsBytewiseWhateverTheByte) {
  constexpr std::size_t kLength = 50;
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    for (std::size_t place = 0; place < kLength; ++place) {
      std::string text(kLength, 'x');
      text[place] = c;
      const bool isPlain = byte >= 32 && c != '"' && c != '\\';
      const std::size_t expected = isPlain ? kLength : place;
      ASSERT_EQ(json::isPlain(c), isPlain) << byte;
      ASSERT_EQ(plainLength(text, 0, kLength), expected) << byte << " at " << place;
      ASSERT_EQ(plainLengthBytewise(text, 0, kLength), expected) << byte << " at " << place;
    }
  }
}

TEST(PlainText, PlainTextEndsAtTheSameByteInStridesAsBytewiseWhereverItBeginsAndEnds) {
  std::string text(70, '\xE9');
  text[20] = '"';
  text[21] = '\\';
  text[40] = '\n';
  text[64] = '\x1F';
  for (std::size_t first = 0; first <= text.size(); ++first) {
    for (std::size_t last = first; last <= text.size(); ++last) {
      ASSERT_EQ(plainLength(text, first, last), plainLengthBytewise(text, first, last))
          << first << " to " << last;
    }
  }
}

TEST(PlainText, TheFirstOfSeveralEndsIt) {
  EXPECT_EQ(plainLength("0123\"\"\"\"89abcdef", 0, 16), 4U);
  EXPECT_EQ(plainLength("0123456789abcde\"\"", 0, 17), 15U);
}

}  // namespace

}  // namespace kx
