#include "common/md5.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(Md5, TheTestValuesOfTheAlgorithmHold) {
  EXPECT_EQ(md5Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5Hex("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(md5Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(md5Hex("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(md5Hex("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
  EXPECT_EQ(md5Hex("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            "d174ab98d277d9f5a5611c2c9f419d9f");
  EXPECT_EQ(md5Hex("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(Md5, ThePaddingTakesOneBlockOrTwo) {
  EXPECT_EQ(md5Hex(std::string(54, 'x')), "61ea0974c662328da964d977a8253873");
  EXPECT_EQ(md5Hex(std::string(55, 'x')), "04364420e25c512fd958a70738aa8f72");
  EXPECT_EQ(md5Hex(std::string(56, 'x')), "668a72d5ba17f08e62dabcafad6db14b");
  EXPECT_EQ(md5Hex(std::string(57, 'x')), "693037871c4a9d3d8685018905cb530a");
  EXPECT_EQ(md5Hex(std::string(63, 'x')), "7dc2ca208106a2f703567bdff99d8981");
  EXPECT_EQ(md5Hex(std::string(64, 'x')), "c1bb4f81d892b2d57947682aeb252456");
  EXPECT_EQ(md5Hex(std::string(65, 'x')), "1bc932052302d074bdec39795fe00cf6");
  EXPECT_EQ(md5Hex(std::string(119, 'x')), "ab347a5f68c8a443cfcddc633f12c24f");
  EXPECT_EQ(md5Hex(std::string(120, 'x')), "fb98667f98096de92620b64f46e1c5b5");
  EXPECT_EQ(md5Hex(std::string(128, 'x')), "d69cb61a6ee87200676eb0d4b90edbcb");
}

TEST(Md5, ALongTextIsDigestedBlockByBlock) {
  EXPECT_EQ(md5Hex(std::string(1000000, 'a')), "7707d6ae4e027c70eea2a935c2296f21");
}

TEST(Md5, EveryByteCountsZeroAndThoseAbove127Included) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }

  EXPECT_EQ(md5Hex(bytes), "e2c865db4162bed963bfaa9ef6ac18f0");
  EXPECT_EQ(md5Hex(std::string_view("\0", 1)), "93b885adfe0da089cdf634904fd59f71");
  EXPECT_EQ(md5Hex("C:\\Daten\\Gr\xC3\xB6\xC3\x9F"
                   "e"),
            "606bc8512cbf7044678206e0d47d1846");
}

TEST(Md5, TheCaseOfLettersMatters) {
  EXPECT_NE(md5Hex("c:\\data"), md5Hex("C:\\Data"));
}

}  // namespace

}  // namespace kx
