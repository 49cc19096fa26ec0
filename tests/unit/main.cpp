// The start of the unit tests. Each process has folders and a user name of its own, so that copies running at
// the same time share no file; the log is off until a test switches it on.

#include "common/platform.h"
#include "support/environment.h"

#include <gmock/gmock.h>

#include <filesystem>

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);

  const std::string name = "kx-unit-" + std::to_string(kx::platform::currentProcessId());
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / name;
  std::filesystem::create_directories(folder);
  // The name of the temporary folder's variable differs between systems; files.h and the start page read one
  // each.
  for (const char* variable : {"TMPDIR", "TMP", "TEMP", "APPDATA", "LOCALAPPDATA"}) {
    test_environment::set(variable, folder.string());
  }
  test_environment::set("USERNAME", name);
  for (const char* variable : {"KORVEX_LOG", "KORVEX_LOGPATH", "HOMEDRIVE", "HOMEPATH"}) {
    test_environment::set(variable, std::nullopt);
  }

  const int result = RUN_ALL_TESTS();

  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  return result;
}
