// main() of the test programs that run on Windows. Every process works with a user name and folders of its
// own: the start lock, the default pipes, the start page and the profiles depend on them, and parallel
// programs would otherwise wait for each other.
#include "support/environment.h"
#include "support/win32/helper_process.h"
#include "support/win32/temp_folder.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <optional>
#include <string>

namespace {

class OwnSurroundings {
 public:
  OwnSurroundings() {
    for (const char* inside : {"temp", "roaming", "local"}) {
      ::CreateDirectoryW(wide(root_.path(inside)).c_str(), nullptr);
    }
    log_.remove();
    logPath_.remove();
  }

 private:
  TempFolder root_{"tests"};
  EnvironmentVariable user_{"USERNAME", "kxtest" + std::to_string(::GetCurrentProcessId())};
  EnvironmentVariable temp_{"TEMP", root_.path("temp")};
  EnvironmentVariable roaming_{"APPDATA", root_.path("roaming")};
  EnvironmentVariable local_{"LOCALAPPDATA", root_.path("local")};
  EnvironmentVariable log_{"KORVEX_LOG"};
  EnvironmentVariable logPath_{"KORVEX_LOGPATH"};
};

}  // namespace

int main(int argc, char** argv) {
  if (const std::optional<int> exitCode = runAsHelper()) {
    return *exitCode;
  }
  ::testing::InitGoogleTest(&argc, argv);
  const OwnSurroundings surroundings;
  return RUN_ALL_TESTS();
}
