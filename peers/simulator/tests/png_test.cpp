#include "png.h"

#include "screenshot.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace kxsim {
namespace {

std::uint32_t numberAt(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8U | static_cast<unsigned char>(bytes.at(at + i));
  }
  return value;
}

// Bit by bit, unlike the table of the code under test.
std::uint32_t slowCrc(const std::string& bytes) {
  std::uint32_t crc = 0xffffffffU;
  for (const char c : bytes) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      const std::uint32_t in = (static_cast<unsigned char>(c) >> bit) & 1U;
      crc = ((crc ^ in) & 1U) != 0 ? (crc >> 1U) ^ 0xedb88320U : crc >> 1U;
    }
  }
  return crc ^ 0xffffffffU;
}

// The chunks of a file by their type, in a file that has each type once. Throws when anything is out of
// place.
std::map<std::string, std::string> chunksOf(const std::string& file) {
  if (file.substr(0, 8) != "\x89PNG\r\n\x1a\n") {
    throw std::runtime_error("signature");
  }
  std::map<std::string, std::string> chunks;
  std::size_t at = 8;
  while (at < file.size()) {
    const std::uint32_t size = numberAt(file, at);
    const std::string body = file.substr(at + 4, size + 4);
    if (slowCrc(body) != numberAt(file, at + 8 + size)) {
      throw std::runtime_error("checksum of " + body.substr(0, 4));
    }
    chunks[body.substr(0, 4)] = body.substr(4);
    at += 12 + size;
  }
  return chunks;
}

std::string inflatedStoredBlocks(const std::string& stream) {
  if (numberAt(stream, 0) >> 16U != 0x7801U) {
    throw std::runtime_error("header of the stream");
  }
  std::string bytes;
  std::size_t at = 2;
  for (bool last = false; !last;) {
    last = stream.at(at) == 1;
    const auto byte = [&](std::size_t i) {
      return static_cast<unsigned>(static_cast<unsigned char>(stream.at(at + i)));
    };
    const unsigned size = byte(1) | byte(2) << 8U;
    if ((size ^ (byte(3) | byte(4) << 8U)) != 0xffffU) {
      throw std::runtime_error("size of a block");
    }
    bytes += stream.substr(at + 5, size);
    at += 5 + size;
  }
  if (adler32(bytes) != numberAt(stream, at) || at + 4 != stream.size()) {
    throw std::runtime_error("end of the stream");
  }
  return bytes;
}

TEST(Png, TheChecksumsHaveTheirKnownValues) {
  EXPECT_EQ(0xcbf43926U, crc32("123456789"));
  EXPECT_EQ(0x091e01deU, adler32("123456789"));
}

TEST(Png, ASmallPictureIsEncodedRowByRow) {
  Picture picture(3, 2, {{1, 2, 3}, {4, 5, 6}});
  picture.fill(1, 1, 9, 9, 1);

  auto chunks = chunksOf(encodePng(picture));

  EXPECT_EQ(std::string("\0\0\0\3\0\0\0\2\x08\x03\0\0\0", 13), chunks.at("IHDR"));
  EXPECT_EQ("\1\2\3\4\5\6", chunks.at("PLTE"));
  EXPECT_EQ(std::string("\0\0\0\0\0\0\1\1", 8), inflatedStoredBlocks(chunks.at("IDAT")));
  EXPECT_EQ("", chunks.at("IEND"));
}

TEST(Png, APictureLargerThanOneBlockIsWhole) {
  const Picture picture = drawBrowser("cr");
  ASSERT_GT(picture.pixels().size(), 65535U);

  const std::string rows = inflatedStoredBlocks(chunksOf(encodePng(picture)).at("IDAT"));

  EXPECT_EQ((picture.width() + 1U) * picture.height(), rows.size());
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
