// Takes a fuzzer's bytes apart.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  // 0 when nothing is left.
  unsigned takeByte() {
    if (rest_.empty()) {
      return 0;
    }
    const auto byte = static_cast<unsigned char>(rest_.front());
    rest_.remove_prefix(1);
    return byte;
  }

  // Up to the next zero byte, which is taken too, or up to the end.
  std::string takeText() {
    const std::size_t end = rest_.find('\0');
    std::string text(rest_.substr(0, end));
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    return text;
  }

  bool isEmpty() const { return rest_.empty(); }
  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// Cuts a text into pieces of 0 to 16 bytes, others for each seed.
inline std::vector<std::string_view> piecesOf(std::string_view text, unsigned seed) {
  std::vector<std::string_view> pieces;
  std::uint32_t state = seed * 2654435761U + 1;
  while (!text.empty()) {
    state = state * 1664525U + 1013904223U;
    const std::size_t length = std::min<std::size_t>(text.size(), state >> 28);
    pieces.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return pieces;
}
