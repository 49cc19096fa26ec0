#include "cli/log_tail.h"

#include "common/platform.h"

#include <array>
#include <cstdio>
#include <memory>

namespace kx::cli {

std::string LogTail::more() {
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<std::FILE, Closer> file(platform::openFile(path_, "rb"));
  if (!file) {
    return {};
  }
  std::fseek(file.get(), 0, SEEK_END);
  if (std::ftell(file.get()) < position_) {
    position_ = 0;
  }
  std::fseek(file.get(), position_, SEEK_SET);
  std::string bytes;
  std::array<char, 65536> piece;
  for (std::size_t count = piece.size(); count == piece.size();) {
    count = std::fread(piece.data(), 1, piece.size(), file.get());
    bytes.append(piece.data(), count);
  }
  position_ += static_cast<long>(bytes.size());
  return bytes;
}

}  // namespace kx::cli
