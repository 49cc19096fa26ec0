#include "support/files.h"

#include "common/platform.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <memory>

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::filesystem::path pathOf(const std::string& utf8) {
  return {std::u8string(utf8.begin(), utf8.end())};
}

std::string utf8Of(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

}  // namespace

std::optional<std::string> fileBytes(const std::string& path) {
  const File file(kx::platform::openFile(path, "rb"));
  if (!file) {
    return std::nullopt;
  }
  std::string bytes;
  for (int byte = std::fgetc(file.get()); byte != EOF; byte = std::fgetc(file.get())) {
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

void writeFile(const std::string& path, std::string_view bytes) {
  const File file(kx::platform::openFile(path, "wb"));
  ASSERT_NE(file, nullptr) << path;
  ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file.get()), bytes.size()) << path;
}

TestFolder::TestFolder(const std::string& name) {
  static int count = 0;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / pathOf(std::to_string(++count) + "-" + name);
  std::filesystem::create_directories(folder);
  path_ = utf8Of(folder);
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(pathOf(path_), ignored);
}
