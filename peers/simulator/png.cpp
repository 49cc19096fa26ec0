#include "png.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace kxsim {
namespace {

constexpr std::size_t kLargestStoredBlock = 65535;

std::string bigEndian(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(static_cast<unsigned char>((value >> shift) & 0xffU));
  }
  return bytes;
}

std::string littleEndian16(std::size_t value) {
  return {static_cast<char>(static_cast<unsigned char>(value & 0xffU)),
          static_cast<char>(static_cast<unsigned char>((value >> 8U) & 0xffU))};
}

std::string chunk(std::string_view type, std::string_view data) {
  const std::string body = std::string(type) + std::string(data);
  return bigEndian(static_cast<std::uint32_t>(data.size())) + body + bigEndian(crc32(body));
}

// A zlib stream whose deflate blocks hold the bytes as they are.
std::string storedStream(std::string_view bytes) {
  std::string stream = "\x78\x01";
  std::string_view rest = bytes;
  do {
    const std::string_view block = rest.substr(0, kLargestStoredBlock);
    rest.remove_prefix(block.size());
    stream += static_cast<char>(rest.empty() ? 1 : 0);
    stream += littleEndian16(block.size());
    stream += littleEndian16(~block.size());
    stream += block;
  } while (!rest.empty());
  return stream + bigEndian(adler32(bytes));
}

}  // namespace

Picture::Picture(std::uint32_t width, std::uint32_t height, std::vector<Colour> palette)
    : width_(width),
      height_(height),
      palette_(std::move(palette)),
      pixels_(static_cast<std::size_t>(width) * height, '\0') {}

void Picture::fill(std::uint32_t left, std::uint32_t top, std::uint32_t width, std::uint32_t height,
                   std::uint8_t colour) {
  const std::uint32_t right = std::min(width_, left + width);
  const std::uint32_t bottom = std::min(height_, top + height);
  for (std::uint32_t y = top; y < bottom; ++y) {
    for (std::uint32_t x = left; x < right; ++x) {
      pixels_[static_cast<std::size_t>(y) * width_ + x] = static_cast<char>(colour);
    }
  }
}

std::uint32_t crc32(std::string_view bytes) {
  static const std::array<std::uint32_t, 256> kTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t n = 0; n < table.size(); ++n) {
      std::uint32_t value = n;
      for (int bit = 0; bit < 8; ++bit) {
        value = (value & 1U) != 0 ? 0xedb88320U ^ (value >> 1U) : value >> 1U;
      }
      table[n] = value;
    }
    return table;
  }();
  std::uint32_t crc = 0xffffffffU;
  for (const char c : bytes) {
    crc = kTable[(crc ^ static_cast<unsigned char>(c)) & 0xffU] ^ (crc >> 8U);
  }
  return ~crc;
}

std::uint32_t adler32(std::string_view bytes) {
  constexpr std::uint32_t kModulus = 65521;
  std::uint32_t low = 1;
  std::uint32_t high = 0;
  for (const char c : bytes) {
    low = (low + static_cast<unsigned char>(c)) % kModulus;
    high = (high + low) % kModulus;
  }
  return (high << 16U) | low;
}

std::string encodePng(const Picture& picture) {
  // Depth 8, colour type 3 (palette), the only compression and filter methods there are, not interlaced.
  const std::string header =
      bigEndian(picture.width()) + bigEndian(picture.height()) + std::string("\x08\x03\x00\x00\x00", 5);

  std::string palette;
  for (const Colour& colour : picture.palette()) {
    palette += static_cast<char>(colour.red);
    palette += static_cast<char>(colour.green);
    palette += static_cast<char>(colour.blue);
  }

  std::string rows;
  for (std::uint32_t y = 0; y < picture.height(); ++y) {
    rows += '\0';  // each row names its filter; this is "none"
    rows += picture.pixels().substr(static_cast<std::size_t>(y) * picture.width(), picture.width());
  }

  return "\x89PNG\r\n\x1a\n" + chunk("IHDR", header) + chunk("PLTE", palette) +
         chunk("IDAT", storedStream(rows)) + chunk("IEND", "");
}

}  // namespace kxsim
