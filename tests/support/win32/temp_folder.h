// A folder of its own for a test, below TEMP, gone with everything in it at the end. Paths are UTF-8.
#pragma once

#include "support/environment.h"
#include "support/win32/text.h"

#include <windows.h>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

class TempFolder {
 public:
  explicit TempFolder(const std::string& name = "folder") {
    static std::atomic<int> count{0};
    const std::string parent = EnvironmentVariable::valueOf("TEMP").value_or(".");
    std::filesystem::create_directories(wide(parent));
    // Process ids come back, and a run that was broken off has left its folders. Some have paths that are too
    // long to be removed.
    do {
      path_ = parent + "\\kx-" + name + "-" + std::to_string(::GetCurrentProcessId()) + "-" +
              std::to_string(++count);
    } while (!std::filesystem::create_directory(wide(path_)));
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(wide(path_), ignored);
  }

  const std::string& path() const { return path_; }
  std::string path(const std::string& inside) const { return path_ + "\\" + inside; }

  // Makes the folders on the way as well. Gives the file's path.
  std::string write(const std::string& inside, const std::string& bytes) const {
    const std::filesystem::path file(wide(path(inside)));
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
    return path(inside);
  }

 private:
  std::string path_;
};

inline std::string fileBytes(const std::string& path) {
  std::ifstream file(std::filesystem::path(wide(path)), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline bool fileExists(const std::string& path) {
  return ::GetFileAttributesW(wide(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}
