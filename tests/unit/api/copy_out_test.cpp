#include "api/copy_out.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

namespace {

constexpr int kSmallest = std::numeric_limits<int>::min();
constexpr int kLargest = std::numeric_limits<int>::max();

TEST(CopyOut, TheSizeCountsTheTerminatingZeroAndSaturates) {
  EXPECT_EQ(sizeWithTerminator(""), 1);
  EXPECT_EQ(sizeWithTerminator("abcde"), 6);
  EXPECT_EQ(sizeWithTerminator(std::string_view("a\0b", 3)), 4);
  // Only the length is looked at.
  const char text = 'x';
  constexpr std::size_t kMost = std::numeric_limits<int>::max();
  EXPECT_EQ(sizeWithTerminator({&text, kMost - 2}), kLargest - 1);
  for (const std::size_t length : {kMost - 1, kMost, kMost + 1, 3 * kMost}) {
    EXPECT_EQ(sizeWithTerminator({&text, length}), kLargest) << length;
  }
}

// Copies into a buffer in which every written byte shows: text and zero arrive whole, or nothing does.
template <typename Copy>
void expectCopied(Copy copy, std::string text, const std::vector<int>& large, const std::vector<int>& small) {
  const std::string untouched(16, '#');
  const std::string written = (text + '\0').append(untouched, 0, untouched.size() - text.size() - 1);
  for (const int size : large) {
    std::string buffer = untouched;
    EXPECT_EQ(copy(buffer.data(), size), CopyOut::Copied) << size;
    EXPECT_EQ(buffer, written);
  }
  for (const int size : small) {
    std::string buffer = untouched;
    EXPECT_EQ(copy(buffer.data(), size), CopyOut::TooSmall) << size;
    EXPECT_EQ(buffer, untouched);
  }
  for (const int size : {0, 1, 100, -1, kSmallest, kLargest}) {
    EXPECT_EQ(copy(nullptr, size), CopyOut::SizeAsked) << size;
  }
}

TEST(CopyOut, ABufferReceivesTextAndZeroOrStaysUntouchedAndANegativeSizeCountsAsUnlimited) {
  const auto copyOf = [](std::string_view text) {
    return [text](char* buffer, int size) { return copyOut(text, buffer, size); };
  };
  expectCopied(copyOf("abc"), "abc", {4, 5, 16, kLargest, -1, -2, kSmallest}, {0, 1, 3});
  expectCopied(copyOf(""), "", {1}, {0});
  expectCopied(copyOf(std::string_view()), "", {1}, {0});
  expectCopied(copyOf(std::string_view("a\0b", 3)), std::string("a\0b", 3), {4}, {3});
}

TEST(CopyOut, TextsThatAreJoinedAreCopiedByTheSameRule) {
  constexpr std::array<std::string_view, 2> kParts = {"ab", "c"};
  const JoinedText text(kParts, 3);

  EXPECT_EQ(sizeWithTerminator(text), 13);
  expectCopied([&](char* buffer, int size) { return copyOut(text, buffer, size); }, "ab[EXTRACT]c", {13, -1},
               {12});
}

TEST(CopyOut, ForACommandLineASizeOfZeroCountsAsUnlimitedToo) {
  const auto copyOf = [](std::string_view line) {
    return [line](char* buffer, int size) { return copyCommandLineOut(line, buffer, size); };
  };
  expectCopied(copyOf("abc"), "abc", {4, 5, 16, kLargest, 0, -1, -2, kSmallest}, {1, 2, 3});
  expectCopied(copyOf(""), "", {1}, {});
  expectCopied(copyOf(std::string_view()), "", {1}, {});
}

}  // namespace

}  // namespace kx
