#include "api/copy_out.h"

#include <cstdint>
#include <limits>

namespace kx {

namespace {

// An empty text may have no address, which std::memcpy() must not be given.
void copyTo(char* buffer, std::string_view text) {
  text.copy(buffer, text.size());
}
void copyTo(char* buffer, const JoinedText& text) {
  text.copyTo(buffer);
}

template <typename Text>
CopyOut copyIfRoom(const Text& text, char* buffer, bool hasRoom) {
  if (buffer == nullptr) {
    return CopyOut::SizeAsked;
  }
  if (!hasRoom) {
    return CopyOut::TooSmall;
  }
  copyTo(buffer, text);
  buffer[text.size()] = '\0';
  return CopyOut::Copied;
}

std::uint64_t widened(std::int64_t size) {
  return static_cast<std::uint64_t>(size);
}

int sizeFor(std::size_t length) {
  constexpr std::size_t kLargest = std::numeric_limits<int>::max();
  return length < kLargest ? static_cast<int>(length) + 1 : std::numeric_limits<int>::max();
}

}  // namespace

int sizeWithTerminator(std::string_view text) {
  return sizeFor(text.size());
}

int sizeWithTerminator(const JoinedText& text) {
  return sizeFor(text.size());
}

CopyOut copyOut(std::string_view text, char* buffer, int size) {
  return copyIfRoom(text, buffer, widened(size) >= text.size() + 1);
}

CopyOut copyOut(const JoinedText& text, char* buffer, int size) {
  return copyIfRoom(text, buffer, widened(size) >= text.size() + 1);
}

CopyOut copyCommandLineOut(std::string_view line, char* buffer, int size) {
  // Widened before 1 is taken off, so that the smallest size does not wrap round.
  return copyIfRoom(line, buffer, widened(std::int64_t{size} - 1) >= line.size());
}

}  // namespace kx
