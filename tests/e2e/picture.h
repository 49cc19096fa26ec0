// A picture file as its pixels. Windows' own decoder reads it, so a damaged file is noticed.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

struct Colour {
  int red;
  int green;
  int blue;
  bool operator==(const Colour&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Colour& colour);

class Picture {
 public:
  // Throws std::runtime_error when the file is no complete PNG.
  explicit Picture(const std::string& path);

  int width() const { return width_; }
  int height() const { return height_; }
  Colour at(int x, int y) const;

 private:
  int width_ = 0;
  int height_ = 0;
  std::vector<std::uint8_t> pixels_;
};
