#include "png.h"

#include "screenshot.h"

#include <gtest/gtest.h>

#include <string>

namespace kxsim {
namespace {

std::string hexadecimal(const std::string& bytes) {
  std::string digits;
  for (const char c : bytes) {
    digits += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4U];
    digits += "0123456789abcdef"[static_cast<unsigned char>(c) & 15U];
  }
  return digits;
}

TEST(Png, TheChecksumsHaveTheirKnownValues) {
  EXPECT_EQ(0xcbf43926U, crc32("123456789"));
  EXPECT_EQ(0x091e01deU, adler32("123456789"));
}

TEST(Png, ASmallPictureIsEncodedRowByRow) {
  Picture picture(3, 2, {{1, 2, 3}, {4, 5, 6}});
  picture.fill(1, 1, 9, 9, 1);

  EXPECT_EQ(
      // Signature, and size, type, content and checksum of each chunk.
      "89504e470d0a1a0a"
      "0000000d4948445200000003000000020803000000aaaa9628"
      "00000006504c544501020304050695536f48"
      // One stored block: a filter of 0 and three pixels, twice.
      "00000013494441547801010800f7ff0000000000000101000b0003b2706a95"
      "0000000049454e44ae426082",
      hexadecimal(encodePng(picture)));
}

// Larger than one block. Other decoders have read the file of that checksum.
TEST(Png, APictureLargerThanOneBlockIsWhole) {
  const std::string file = encodePng(drawBrowser("fx"));

  EXPECT_EQ(115623U, file.size());
  EXPECT_EQ(0xe6a8a0deU, crc32(file));
}

TEST(Png, PageAndBrowserLookDifferent) {
  EXPECT_EQ(320U, drawPage().width());
  EXPECT_EQ(240U, drawPage().height());
  EXPECT_EQ(360U, drawBrowser("fx").width());
  EXPECT_EQ(320U, drawBrowser("fx").height());
  EXPECT_NE(encodePng(drawBrowser("fx")), encodePng(drawBrowser("cr")));
}

}  // namespace
}  // namespace kxsim
