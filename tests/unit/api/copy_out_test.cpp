#include "api/copy_out.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>
#include <string_view>

namespace kx {

namespace {

constexpr int kSmallest = std::numeric_limits<int>::min();
constexpr int kLargest = std::numeric_limits<int>::max();

// A host's buffer, filled so that every written byte shows.
struct Buffer {
  std::array<char, 16> bytes;

  Buffer() { bytes.fill('#'); }
  std::string text() const { return {bytes.begin(), bytes.end()}; }
};

const std::string kUntouched(16, '#');

// The text, its zero and the rest of the buffer as it was.
std::string copied(std::string text) {
  text += '\0';
  text.resize(kUntouched.size(), '#');
  return text;
}

TEST(CopyOut, TheSizeCountsTheTerminatingZero) {
  EXPECT_EQ(sizeWithTerminator(""), 1);
  EXPECT_EQ(sizeWithTerminator("abcde"), 6);
  EXPECT_EQ(sizeWithTerminator(std::string_view("a\0b", 3)), 4);
}

TEST(CopyOut, ASizeThatNoIntHoldsSaturates) {
  // Only the length is looked at.
  const char text = 'x';
  constexpr std::size_t kMost = std::numeric_limits<int>::max();

  EXPECT_EQ(sizeWithTerminator({&text, kMost - 1}), kLargest);
  EXPECT_EQ(sizeWithTerminator({&text, kMost - 2}), kLargest - 1);
  EXPECT_EQ(sizeWithTerminator({&text, kMost}), kLargest);
  EXPECT_EQ(sizeWithTerminator({&text, kMost + 1}), kLargest);
  EXPECT_EQ(sizeWithTerminator({&text, 3 * kMost}), kLargest);
}

TEST(CopyOut, TextsThatAreJoinedAreCopiedByTheSameRule) {
  constexpr std::array<std::string_view, 2> kParts = {"ab", "c"};
  const JoinedText text(kParts, 3);
  Buffer tooSmall;
  Buffer buffer;

  EXPECT_EQ(sizeWithTerminator(text), 13);
  EXPECT_EQ(copyOut(text, nullptr, 0), CopyOut::SizeAsked);
  EXPECT_EQ(copyOut(text, tooSmall.bytes.data(), 12), CopyOut::TooSmall);
  EXPECT_EQ(tooSmall.text(), kUntouched);
  EXPECT_EQ(copyOut(text, buffer.bytes.data(), 13), CopyOut::Copied);
  EXPECT_EQ(buffer.text(), copied("ab[EXTRACT]c"));
}

TEST(CopyOut, ANullBufferOnlyAsksWhateverTheSize) {
  for (const int size : {0, 1, 100, -1, kSmallest, kLargest}) {
    EXPECT_EQ(copyOut("abc", nullptr, size), CopyOut::SizeAsked);
    EXPECT_EQ(copyCommandLineOut("abc", nullptr, size), CopyOut::SizeAsked);
  }
}

TEST(CopyOut, ABufferThatHoldsTextAndZeroReceivesBoth) {
  for (const int size : {4, 5, 16, kLargest}) {
    Buffer buffer;
    EXPECT_EQ(copyOut("abc", buffer.bytes.data(), size), CopyOut::Copied) << size;
    EXPECT_EQ(buffer.text(), copied("abc"));
  }
}

TEST(CopyOut, ABufferThatIsTooSmallStaysUntouched) {
  for (const int size : {0, 1, 3}) {
    Buffer buffer;
    EXPECT_EQ(copyOut("abc", buffer.bytes.data(), size), CopyOut::TooSmall) << size;
    EXPECT_EQ(buffer.text(), kUntouched);
  }
}

TEST(CopyOut, ANegativeSizeCountsAsUnlimited) {
  for (const int size : {-1, -2, kSmallest}) {
    Buffer buffer;
    EXPECT_EQ(copyOut("abc", buffer.bytes.data(), size), CopyOut::Copied) << size;
    EXPECT_EQ(buffer.text(), copied("abc"));
  }
}

TEST(CopyOut, AnEmptyTextNeedsOneByte) {
  Buffer buffer;

  EXPECT_EQ(copyOut("", buffer.bytes.data(), 0), CopyOut::TooSmall);
  EXPECT_EQ(buffer.text(), kUntouched);
  EXPECT_EQ(copyOut("", buffer.bytes.data(), 1), CopyOut::Copied);
  EXPECT_EQ(buffer.text(), copied(""));
}

TEST(CopyOut, AnEmptyTextMayHaveNoAddress) {
  const std::string_view nowhere;
  Buffer buffer;
  Buffer line;

  EXPECT_EQ(copyOut(nowhere, buffer.bytes.data(), 1), CopyOut::Copied);
  EXPECT_EQ(buffer.text(), copied(""));
  EXPECT_EQ(copyCommandLineOut(nowhere, line.bytes.data(), 1), CopyOut::Copied);
  EXPECT_EQ(line.text(), copied(""));
}

TEST(CopyOut, ZeroBytesInATextAreCopiedToo) {
  Buffer buffer;

  EXPECT_EQ(copyOut(std::string_view("a\0b", 3), buffer.bytes.data(), 4), CopyOut::Copied);
  EXPECT_EQ(buffer.text(), copied(std::string("a\0b", 3)));
}

TEST(CopyCommandLineOut, ABufferThatHoldsLineAndZeroReceivesBoth) {
  for (const int size : {4, 5, 16, kLargest}) {
    Buffer buffer;
    EXPECT_EQ(copyCommandLineOut("abc", buffer.bytes.data(), size), CopyOut::Copied) << size;
    EXPECT_EQ(buffer.text(), copied("abc"));
  }
}

TEST(CopyCommandLineOut, ABufferThatIsTooSmallStaysUntouched) {
  for (const int size : {1, 2, 3}) {
    Buffer buffer;
    EXPECT_EQ(copyCommandLineOut("abc", buffer.bytes.data(), size), CopyOut::TooSmall) << size;
    EXPECT_EQ(buffer.text(), kUntouched);
  }
}

TEST(CopyCommandLineOut, ASizeOfZeroOrBelowCountsAsUnlimited) {
  for (const int size : {0, -1, -2, kSmallest}) {
    Buffer buffer;
    EXPECT_EQ(copyCommandLineOut("abc", buffer.bytes.data(), size), CopyOut::Copied) << size;
    EXPECT_EQ(buffer.text(), copied("abc"));
  }
}

TEST(CopyCommandLineOut, AnEmptyLineNeedsOneByte) {
  Buffer buffer;

  EXPECT_EQ(copyCommandLineOut("", buffer.bytes.data(), 1), CopyOut::Copied);
  EXPECT_EQ(buffer.text(), copied(""));
}

}  // namespace

}  // namespace kx
