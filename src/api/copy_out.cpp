#include "api/copy_out.h"

#include <cstdint>
#include <cstring>
#include <limits>

namespace {

CopyOut copyIfRoom(std::string_view text, char* buffer, bool hasRoom) {
  if (buffer == nullptr) {
    return CopyOut::SizeAsked;
  }
  if (!hasRoom) {
    return CopyOut::TooSmall;
  }
  std::memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = '\0';
  return CopyOut::Copied;
}

std::uint64_t widened(std::int64_t size) {
  return static_cast<std::uint64_t>(size);
}

}  // namespace

int sizeWithTerminator(std::string_view text) {
  constexpr std::size_t kLargest = std::numeric_limits<int>::max();
  return text.size() < kLargest ? static_cast<int>(text.size()) + 1 : std::numeric_limits<int>::max();
}

CopyOut copyOut(std::string_view text, char* buffer, int size) {
  return copyIfRoom(text, buffer, widened(size) >= text.size() + 1);
}

CopyOut copyCommandLineOut(std::string_view line, char* buffer, int size) {
  // Widened before 1 is taken off, so that the smallest size does not wrap round.
  return copyIfRoom(line, buffer, widened(std::int64_t{size} - 1) >= line.size());
}
