// Writes a PNG file's bytes: eight-bit palette pictures without compression. Small, and enough for
// screenshots that every viewer opens.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kxsim {

struct Colour {
  std::uint8_t red;
  std::uint8_t green;
  std::uint8_t blue;
};

// Pixels are indices into the palette, row by row.
class Picture {
 public:
  Picture(std::uint32_t width, std::uint32_t height, std::vector<Colour> palette);

  std::uint32_t width() const { return width_; }
  std::uint32_t height() const { return height_; }
  const std::vector<Colour>& palette() const { return palette_; }
  const std::string& pixels() const { return pixels_; }

  // What lies outside the picture is cut off.
  void fill(std::uint32_t left, std::uint32_t top, std::uint32_t width, std::uint32_t height,
            std::uint8_t colour);

 private:
  std::uint32_t width_;
  std::uint32_t height_;
  std::vector<Colour> palette_;
  std::string pixels_;
};

std::uint32_t crc32(std::string_view bytes);
std::uint32_t adler32(std::string_view bytes);

std::string encodePng(const Picture& picture);

}  // namespace kxsim
