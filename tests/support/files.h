// Whole files by their UTF-8 path, read and written byte for byte, and a folder of a test's own that goes
// away with the object. Paths may be written with backslashes on every system.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// Nothing when the file cannot be opened.
std::optional<std::string> fileBytes(const std::string& path);

// Fails the test when the file cannot be written.
void writeFile(const std::string& path, std::string_view bytes);

class TestFolder {
 public:
  // A new folder below the test process's own. The name may hold any character of a file name.
  explicit TestFolder(const std::string& name = "folder");
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::string& path() const { return path_; }
  // The path with a backslash and the name behind it.
  std::string file(const std::string& name) const { return path_ + "\\" + name; }

 private:
  std::string path_;
};
