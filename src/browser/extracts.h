// The extracts that responses have brought since the last play, and the text that one or all of them make.
// Both are views of texts that live elsewhere: see browser/response.h.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

// Texts with the separator "[EXTRACT]" between each two, not put together before they are copied.
class JoinedText {
 public:
  JoinedText() = default;
  // The caller gives the sum of the parts' sizes, so that size() need not look at each part.
  JoinedText(std::span<const std::string_view> parts, std::size_t bytesOfParts);

  std::size_t size() const { return size_; }
  // Copies size() bytes.
  void copyTo(char* target) const;
  std::string toString() const;

 private:
  std::span<const std::string_view> parts_;
  std::size_t size_ = 0;
};

class Extracts {
 public:
  void add(std::string_view text) {
    texts_.push_back(text);
    bytes_ += text.size();
  }
  // Appends all of another list's.
  void append(Extracts&& others);

  bool empty() const { return texts_.empty(); }
  std::span<const std::string_view> texts() const { return texts_; }

  JoinedText all() const { return {texts_, bytes_}; }
  // Counted from 1. Nothing for a number that is no extract's.
  JoinedText one(int number) const;

 private:
  std::vector<std::string_view> texts_;
  std::size_t bytes_ = 0;
};

}  // namespace kx
