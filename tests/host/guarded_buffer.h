// A host's buffer with guard bytes around it, all filled with one pattern, so that a test sees every byte
// that was written.
#pragma once

#include <string>

class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t size) : bytes_(size + 2 * kGuard, kPattern), size_(size) {}

  char* get() { return bytes_.data() + kGuard; }

  // Nothing was written, neither in the buffer nor around it.
  bool isUntouched() const { return bytes_ == std::string(bytes_.size(), kPattern); }

  // These bytes, and nothing else, were written at the buffer's start.
  bool holdsOnly(const std::string& written) const {
    std::string expected(bytes_.size(), kPattern);
    expected.replace(kGuard, written.size(), written);
    return written.size() <= size_ && bytes_ == expected;
  }

 private:
  static constexpr std::size_t kGuard = 64;
  static constexpr char kPattern = '\x5A';

  std::string bytes_;
  std::size_t size_;
};

// The bytes of a text as they lie in a host's buffer.
inline std::string withZero(const std::string& text) {
  return text + std::string(1, '\0');
}
