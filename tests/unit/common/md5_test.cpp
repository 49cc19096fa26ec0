#include "common/md5.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

std::string times(std::size_t count, char c) {
  return std::string(count, c);
}

TEST(Md5, TheDigestHasTheTestValuesOfTheAlgorithmAndPadsWithOneBlockOrTwo) {
  std::string digits;
  for (int i = 0; i < 8; ++i) {
    digits += "1234567890";
  }
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  const std::pair<std::string, const char*> cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {digits, "57edf4a22be3c955ac49da2e2107b67a"},
      {times(54, 'x'), "61ea0974c662328da964d977a8253873"},
      {times(55, 'x'), "04364420e25c512fd958a70738aa8f72"},
      {times(56, 'x'), "668a72d5ba17f08e62dabcafad6db14b"},
      {times(57, 'x'), "693037871c4a9d3d8685018905cb530a"},
      {times(63, 'x'), "7dc2ca208106a2f703567bdff99d8981"},
      {times(64, 'x'), "c1bb4f81d892b2d57947682aeb252456"},
      {times(65, 'x'), "1bc932052302d074bdec39795fe00cf6"},
      {times(119, 'x'), "ab347a5f68c8a443cfcddc633f12c24f"},
      {times(120, 'x'), "fb98667f98096de92620b64f46e1c5b5"},
      {times(128, 'x'), "d69cb61a6ee87200676eb0d4b90edbcb"},
      {times(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
      // Zero bytes and those above 127 count too.
      {bytes, "e2c865db4162bed963bfaa9ef6ac18f0"},
      {times(1, '\0'), "93b885adfe0da089cdf634904fd59f71"},
      {"C:\\Daten\\Gr\xC3\xB6\xC3\x9F" + std::string("e"), "606bc8512cbf7044678206e0d47d1846"},
  };
  for (const auto& [text, digest] : cases) {
    EXPECT_EQ(md5Hex(text), digest) << text.substr(0, 80);
  }
}

}  // namespace

}  // namespace kx
