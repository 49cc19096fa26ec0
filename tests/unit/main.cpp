// The start of the unit tests. Each process has folders and a user name of its own, so that copies running at
// the same time share no file; the log is off until a test switches it on.

#include "common/platform.h"
#include "support/environment.h"

#include <gmock/gmock.h>

#include <deque>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);

  const std::string name = "kx-unit-" + std::to_string(kx::platform::currentProcessId());
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / name;
  std::filesystem::create_directories(folder);
  // The name of the temporary folder's variable differs between systems; files.h and the start page read one
  // each.
  std::deque<EnvironmentVariable> environment;
  for (const char* variable : {"TMPDIR", "TMP", "TEMP", "APPDATA", "LOCALAPPDATA"}) {
    environment.emplace_back(variable, folder.string());
  }
  environment.emplace_back("USERNAME", name);
  for (const char* variable : {"KORVEX_LOG", "KORVEX_LOGPATH", "HOMEDRIVE", "HOMEPATH"}) {
    environment.emplace_back(variable, std::nullopt);
  }

  const int result = RUN_ALL_TESTS();

  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  return result;
}
