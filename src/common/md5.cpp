#include "common/md5.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kx {

namespace {

constexpr std::size_t kBlockBytes = 64;
constexpr std::size_t kLengthBytes = 8;

using Digest = std::array<std::uint32_t, 4>;

constexpr Digest kInitialDigest = {0x67452301U, 0xefcdab89U, 0x98badcfeU, 0x10325476U};

constexpr std::array<std::array<int, 4>, 4> kShifts = {{
    {7, 12, 17, 22},
    {5, 9, 14, 20},
    {4, 11, 16, 23},
    {6, 10, 15, 21},
}};

// floor(2^32 * |sin(i + 1)|), as the algorithm defines them.
constexpr std::array<std::uint32_t, kBlockBytes> kSines = {
    0xd76aa478U, 0xe8c7b756U, 0x242070dbU, 0xc1bdceeeU, 0xf57c0fafU, 0x4787c62aU, 0xa8304613U, 0xfd469501U,
    0x698098d8U, 0x8b44f7afU, 0xffff5bb1U, 0x895cd7beU, 0x6b901122U, 0xfd987193U, 0xa679438eU, 0x49b40821U,
    0xf61e2562U, 0xc040b340U, 0x265e5a51U, 0xe9b6c7aaU, 0xd62f105dU, 0x02441453U, 0xd8a1e681U, 0xe7d3fbc8U,
    0x21e1cde6U, 0xc33707d6U, 0xf4d50d87U, 0x455a14edU, 0xa9e3e905U, 0xfcefa3f8U, 0x676f02d9U, 0x8d2a4c8aU,
    0xfffa3942U, 0x8771f681U, 0x6d9d6122U, 0xfde5380cU, 0xa4beea44U, 0x4bdecfa9U, 0xf6bb4b60U, 0xbebfbc70U,
    0x289b7ec6U, 0xeaa127faU, 0xd4ef3085U, 0x04881d05U, 0xd9d4d039U, 0xe6db99e5U, 0x1fa27cf8U, 0xc4ac5665U,
    0xf4292244U, 0x432aff97U, 0xab9423a7U, 0xfc93a039U, 0x655b59c3U, 0x8f0ccc92U, 0xffeff47dU, 0x85845dd1U,
    0x6fa87e4fU, 0xfe2ce6e0U, 0xa3014314U, 0x4e0811a1U, 0xf7537e82U, 0xbd3af235U, 0x2ad7d2bbU, 0xeb86d391U,
};

std::uint32_t littleEndianWord(std::string_view bytes, std::size_t offset) {
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    word |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[offset + i])) << (8 * i);
  }
  return word;
}

struct Step {
  std::uint32_t mix;
  std::size_t wordIndex;
};

Step stepOf(std::size_t i, const Digest& d) {
  switch (i / 16) {
    case 0:
      return {(d[1] & d[2]) | (~d[1] & d[3]), i};
    case 1:
      return {(d[3] & d[1]) | (~d[3] & d[2]), (5 * i + 1) % 16};
    case 2:
      return {d[1] ^ d[2] ^ d[3], (3 * i + 5) % 16};
    default:
      return {d[2] ^ (d[1] | ~d[3]), (7 * i) % 16};
  }
}

void addBlock(Digest& digest, std::string_view block) {
  Digest d = digest;
  for (std::size_t i = 0; i < kBlockBytes; ++i) {
    const Step step = stepOf(i, d);
    const std::uint32_t sum = d[0] + step.mix + kSines[i] + littleEndianWord(block, 4 * step.wordIndex);
    d = {d[3], d[1] + std::rotl(sum, kShifts[i / 16][i % 4]), d[1], d[2]};
  }
  for (std::size_t i = 0; i < digest.size(); ++i) {
    digest[i] += d[i];
  }
}

// The bytes after the last full block, then one set bit, zeros and the length in bits: one block or two.
std::string paddedTail(std::string_view bytes) {
  std::string tail(bytes.substr(bytes.size() - bytes.size() % kBlockBytes));
  tail += '\x80';
  while (tail.size() % kBlockBytes != kBlockBytes - kLengthBytes) {
    tail += '\0';
  }
  const std::uint64_t bits = static_cast<std::uint64_t>(bytes.size()) * 8U;
  for (std::size_t i = 0; i < kLengthBytes; ++i) {
    tail += static_cast<char>((bits >> (8 * i)) & 0xFFU);
  }
  return tail;
}

void addBlocks(Digest& digest, std::string_view blocks) {
  for (std::size_t offset = 0; offset + kBlockBytes <= blocks.size(); offset += kBlockBytes) {
    addBlock(digest, blocks.substr(offset, kBlockBytes));
  }
}

}  // namespace

std::string md5Hex(std::string_view bytes) {
  Digest digest = kInitialDigest;
  addBlocks(digest, bytes);
  addBlocks(digest, paddedTail(bytes));

  static constexpr char kHexDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(32);
  for (const std::uint32_t word : digest) {
    for (int shift = 0; shift < 32; shift += 8) {
      const std::uint32_t byte = (word >> shift) & 0xFFU;
      text += kHexDigits[byte >> 4U];
      text += kHexDigits[byte & 0xFU];
    }
  }
  return text;
}

}  // namespace kx
