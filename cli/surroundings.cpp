#include "cli/surroundings.h"

#include "cli/runs.h"
#include "common/platform.h"

#include <array>
#include <cstdio>
#include <memory>

namespace kx::cli {

std::string fileBytes(const std::string& path) {
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<std::FILE, Closer> file(platform::openFile(path, "rb"));
  if (!file) {
    throw Problem{kExitWrongUse,
                  "The file " + path + " cannot be opened. Is its name right, and is it there?"};
  }
  std::string bytes;
  std::array<char, 65536> piece;
  for (std::size_t count = piece.size(); count == piece.size();) {
    count = std::fread(piece.data(), 1, piece.size(), file.get());
    bytes.append(piece.data(), count);
  }
  if (std::ferror(file.get()) != 0) {
    throw Problem{kExitWrongUse, "The file " + path + " cannot be read."};
  }
  return bytes;
}

}  // namespace kx::cli
