// The end of a file that grows: what has been added since it was last asked.
#pragma once

#include <cstdint>
#include <string>

namespace kx::cli {

class LogTail {
 public:
  explicit LogTail(std::string path) : path_(std::move(path)) {}

  // Opens the file each time, so that nobody is kept from writing, removing or renaming it. A file that has
  // become shorter is read from its beginning.
  std::string more();

 private:
  std::string path_;
  long position_ = 0;
};

}  // namespace kx::cli
